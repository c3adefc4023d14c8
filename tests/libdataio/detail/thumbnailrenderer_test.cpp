#include <common/zdpalette.h>
#include <libdataio/detail/stockpicture_p.h>
#include <libdataio/detail/thumbnailrenderer_p.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace zd::detail {
namespace {

constexpr int largest = std::numeric_limits<int>::max();
constexpr QRgb black = 0xFF000000U;

TEST(ThumbnailGeometry, FollowsSinglePrecision)
{
    const auto size = [](int width, int height, int maxWidth, int maxHeight) {
        const auto geometry = thumbnailGeometry(width, height, maxWidth, maxHeight);
        return geometry ? std::to_string(geometry->width) + "x" + std::to_string(geometry->height) : "none";
    };
    EXPECT_EQ(size(576, 576, 160, 120), "119x119");
    EXPECT_EQ(thumbnailGeometry(576, 576, 160, 120)->scale, 4.8000002F);
    EXPECT_EQ(size(160, 1, 160, 120), "160x1");
    EXPECT_EQ(size(896, 640, 160, 120), "160x114");
    EXPECT_EQ(size(512, 1, 160, 120), "none") << "a third of a row";
    for (const int none : {0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(size(none, 10, 160, 120), "none");
        EXPECT_EQ(size(10, none, 160, 120), "none");
        EXPECT_EQ(size(10, 10, none, 120), "none");
        EXPECT_EQ(size(10, 10, 160, none), "none");
    }
    EXPECT_EQ(size(8192, 8192, 8192, 8192), "8192x8192"); // 256 MiB
    EXPECT_EQ(size(8192, 8193, 8193, 8193), "none");
    EXPECT_EQ(size(1, 1, largest, largest), "none");
    EXPECT_EQ(size(largest, largest, 160, 120), "119x119");
    EXPECT_EQ(size(largest, 1, largest, largest), "none");
}

/// A frame of 16-bit samples.
struct Frame16 {
    Frame16(int frameWidth, int frameHeight, int value)
        : width(frameWidth),
          height(frameHeight),
          samples(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), static_cast<std::int16_t>(value))
    {
    }

    FrameSamples view(std::int64_t missingBytes = 0) const
    {
        return {samples.data(), static_cast<std::int64_t>(samples.size() * 2) - missingBytes, width, height};
    }

    int width;
    int height;
    std::vector<std::int16_t> samples;
};

std::string contrastOf(const FrameSamples& frame)
{
    const Contrast contrast = measureContrast(frame);
    return std::to_string(contrast.minimum) + ".." + std::to_string(contrast.maximum);
}

TEST(ThumbnailContrast, WalksOnlyWhatIsThere)
{
    const Frame16 frame(40, 40, 1000);
    EXPECT_EQ(contrastOf({frame.samples.data(), 1, largest, largest}), "0..32");
    EXPECT_EQ(contrastOf({frame.samples.data(), 3200, largest, largest}), "0..32");
}

/// The contrast told step by step.
std::string referenceContrast(const Frame16& frame, std::int64_t bytes)
{
    int minimum = 16383;
    int maximum = -16383;
    for (int row = frame.height / 10; row < 9 * frame.height / 10; row += 4) {
        for (int k = 0; k < 4 * frame.width / 5 / 4; ++k) {
            const std::size_t index = static_cast<std::size_t>(row * frame.width + frame.width / 10 + 4 * k);
            const int sample = static_cast<std::int64_t>(2 * index + 2) <= bytes ? frame.samples[index] : 0;
            maximum = std::max(maximum, sample);
            if (sample > -16384)
                minimum = std::min(minimum, sample);
        }
    }
    return std::to_string(minimum) + ".." + std::to_string(std::max(maximum, minimum + 32));
}

TEST(ThumbnailContrast, RandomFramesGiveTheReference)
{
    std::mt19937 random(8);
    for (int round = 0; round < 300; ++round) {
        Frame16 frame(static_cast<int>(1 + random() % 120), static_cast<int>(1 + random() % 60), 0);
        // Few values, so that each sample counts: around the limits of the minimum, or anywhere.
        const int center = round % 2 == 0 ? -16384 : static_cast<int>(random() % 60000) - 30000;
        for (std::int16_t& sample : frame.samples)
            sample = static_cast<std::int16_t>(center + static_cast<int>(random() % 400) - 200);
        const std::int64_t complete = frame.view().bytes;
        for (const std::int64_t missing : {std::int64_t{0}, static_cast<std::int64_t>(random()) % complete})
            EXPECT_EQ(contrastOf(frame.view(missing)), referenceContrast(frame, complete - missing))
                << frame.width << " x " << frame.height << ", " << missing << " bytes missing";
    }
}

TEST(ThumbnailPalette, ContrastIsPlacedInTheCropRange)
{
    const auto describe = [](int cropMin, int cropMax, const Contrast& contrast) {
        ZdPalette palette;
        palette.cropMin = cropMin;
        palette.cropMax = cropMax;
        const PaletteStretch stretch = paletteStretch(palette, contrast);
        return !stretch.validRange ? std::string("bad")
                                   : std::to_string(stretch.low) + (stretch.lowOutside ? "!" : "") + " " +
                                         std::to_string(stretch.high) + (stretch.highOutside ? "!" : "");
    };
    EXPECT_EQ(describe(0, 1000, {250, 500}), "0.250000 0.500000");
    EXPECT_EQ(describe(0, 1000, {0, 1000}), "0.000000 1.000000");
    EXPECT_EQ(describe(100, 200, {99, 201}), "0.000000! 1.000000!");
    EXPECT_EQ(describe(100, 200, {300, 400}), "0.000000! 1.000000!");
    EXPECT_EQ(describe(100, 200, {0, 50}), "0.000000! 1.000000!");
    EXPECT_EQ(describe(5, 5, {0, 50}), "bad");
    EXPECT_EQ(describe(6, 5, {0, 50}), "bad");
    EXPECT_EQ(describe(std::numeric_limits<int>::min(), largest, {0, 32}), "0.500000 0.500000");
    EXPECT_EQ(describe(largest, std::numeric_limits<int>::min(), {0, 32}), "bad");

    ZdPalette palette;
    palette.cropMin = -5;
    palette.cropMax = 32768;
    limitCropRange(palette);
    EXPECT_EQ(palette.cropMin, 0);
    EXPECT_EQ(palette.cropMax, 32767);
}

/// The source of a pixel of the thumbnail, as the pictures are defined.
std::int64_t referenceSource(int position, float step, int extent)
{
    const float x = (static_cast<float>(position) + 0.5F) * step;
    const std::int64_t floor = std::llrint(2 * x - 0.5F) >> 1;
    return std::min<std::int64_t>(std::max<std::int64_t>(floor, 0), extent - 1);
}

/// A frame of random samples whose bytes begin at an odd address.
struct RandomFrame {
    RandomFrame(int width, int height, std::int64_t frameSampleBytes)
        : sampleBytes(frameSampleBytes), bytes(static_cast<std::size_t>(width * height * sampleBytes) + 1)
    {
        std::mt19937 random(1);
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        samples = {bytes.data() + 1, static_cast<std::int64_t>(bytes.size()) - 1, width, height};
    }

    /// The sample that a pixel shows, 0 when the frame is too short.
    unsigned int at(int x, int y, float stepX, float stepY) const
    {
        const std::int64_t index =
            referenceSource(y, stepY, samples.height) * samples.width + referenceSource(x, stepX, samples.width);
        std::uint16_t value = 0;
        if ((index + 1) * sampleBytes <= samples.bytes)
            std::memcpy(&value, bytes.data() + 1 + index * sampleBytes, static_cast<std::size_t>(sampleBytes));
        return value;
    }

    std::int64_t sampleBytes;
    std::vector<char> bytes;
    FrameSamples samples;
};

/// Compares the pictures of a frame, also when it is cut or empty, pixel by pixel.
void expectReference(int width, int height, const ThumbnailGeometry& geometry)
{
    std::vector<QRgb> table(65536);
    std::iota(table.begin(), table.end(), black);
    const float stepX = static_cast<float>(width) / static_cast<float>(geometry.width);
    const float stepY = static_cast<float>(height) / static_cast<float>(geometry.height);
    RandomFrame bytes(width, height, 1);
    RandomFrame words(width, height, 2);
    const std::int64_t pixels = std::int64_t{width} * height;
    for (const std::int64_t held : {pixels, pixels * 2 / 3, std::int64_t{0}}) {
        bytes.samples.bytes = held;
        words.samples.bytes = 2 * held + (held < pixels ? 1 : 0); // half a sample is none
        const QImage indexed = renderIndexed8(bytes.samples, geometry, std::span(table).first(256));
        ValueRange shown;
        const QImage colored = renderRgb32(words.samples, geometry, [&](ValueRange range) {
            shown = range;
            ColorTable copy(table.size());
            std::ranges::copy(table, copy.entries());
            return copy;
        });
        ASSERT_EQ(indexed.format(), QImage::Format_Indexed8);
        ASSERT_EQ(indexed.colorTable(), QList<QRgb>(table.begin(), table.begin() + 256));
        ASSERT_EQ(colored.format(), QImage::Format_RGB32);
        for (const QImage& picture : {indexed, colored})
            ASSERT_EQ(picture.size(), QSize(geometry.width, geometry.height));
        ValueRange expected{32767, -32768};
        for (int y = 0; y < geometry.height; ++y) {
            for (int x = 0; x < geometry.width; ++x) {
                const auto sample = static_cast<std::int16_t>(words.at(x, y, stepX, stepY));
                expected = {std::min<int>(expected.lowest, sample), std::max<int>(expected.highest, sample)};
                ASSERT_EQ(indexed.pixel(x, y), black | bytes.at(x, y, geometry.scale, geometry.scale));
                ASSERT_EQ(colored.pixel(x, y), black | words.at(x, y, stepX, stepY)) << x << ", " << y;
            }
        }
        ASSERT_EQ(std::pair(shown.lowest, shown.highest), std::pair(expected.lowest, expected.highest));
    }
}

TEST(ThumbnailPictures, EveryPixelShowsItsSample)
{
    expectReference(576, 576, *thumbnailGeometry(576, 576, 160, 120));
    expectReference(10, 10, *thumbnailGeometry(10, 10, 160, 120));
    expectReference(37, 91, *thumbnailGeometry(37, 91, 160, 120));
    expectReference(300, 2, *thumbnailGeometry(300, 2, 9000, 60));
    expectReference(1, 1, *thumbnailGeometry(1, 1, 3, 3));
    expectReference(3, 3, {50, 50, 0.5F}); // reaches beyond the frame

    const RandomFrame frame(4, 4, 2);
    const QImage uncolored = renderRgb32(frame.samples, {3, 2, 1}, [](ValueRange) { return ColorTable(); });
    EXPECT_EQ(uncolored.pixel(0, 0), black);
    EXPECT_EQ(uncolored.pixel(2, 1), black);
    EXPECT_EQ(renderIndexed8(frame.samples, {3, 2, 1}, {}).colorTable(), QList<QRgb>(256, black));
}

TEST(ThumbnailPictures, TheStockPictureHas33GreysAndYellows)
{
    const QImage picture = stockPicture();
    ASSERT_EQ(picture.size(), QSize(160, 120));
    std::set<QRgb> colors;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            colors.insert(picture.pixel(x, y));
    }
    EXPECT_EQ(colors.size(), 33U);
    for (const QRgb color : colors) {
        const bool isGrey = qRed(color) == qGreen(color) && qGreen(color) == qBlue(color);
        const bool isYellow = qRed(color) >= qGreen(color) && qGreen(color) > qBlue(color);
        EXPECT_TRUE(qAlpha(color) == 255 && (isGrey || isYellow)) << std::hex << color;
    }
}

} // namespace
} // namespace zd::detail
