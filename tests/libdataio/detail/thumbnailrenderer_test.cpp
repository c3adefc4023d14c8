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
    EXPECT_EQ(size(640, 480, 160, 160), "160x120");
    EXPECT_EQ(size(896, 640, 160, 120), "160x114");
    EXPECT_EQ(size(10, 10, 160, 120), "120x120");
    EXPECT_EQ(size(1, 1, 1, 1), "1x1");
    EXPECT_EQ(size(160, 1, 160, 120), "160x1");

    EXPECT_EQ(size(512, 1, 160, 120), "none"); // a third of a row
    for (const int none : {0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(size(none, 10, 160, 120), "none");
        EXPECT_EQ(size(10, none, 160, 120), "none");
        EXPECT_EQ(size(10, 10, none, 120), "none");
        EXPECT_EQ(size(10, 10, 160, none), "none");
    }
    EXPECT_EQ(size(8192, 8192, 8192, 8192), "8192x8192"); // 256 MiB
    EXPECT_EQ(size(8192, 8193, 8193, 8193), "none");
    EXPECT_EQ(size(10, 10, 60000, 60000), "none");
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

    std::int16_t& at(int column, int row)
    {
        return samples[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                       static_cast<std::size_t>(column)];
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

TEST(ThumbnailContrast, TakesEveryFourthSampleOfTheMiddle)
{
    Frame16 frame(40, 40, 100);
    EXPECT_EQ(contrastOf(frame.view()), "100..132");
    // Rows 4, 8 ... 32 and columns 4, 8 ... 32 count: 8 samples in each of 8 rows.
    for (int row = 0; row < 40; ++row) {
        for (int column = 0; column < 40; ++column) {
            if (row % 4 != 0 || column % 4 != 0 || row < 4 || row > 32 || column < 4 || column > 32)
                frame.at(column, row) = static_cast<std::int16_t>(row % 2 == 0 ? 30000 : -16000);
        }
    }
    EXPECT_EQ(contrastOf(frame.view()), "100..132");
    frame.at(4, 4) = -16383;
    frame.at(32, 32) = 20000;
    EXPECT_EQ(contrastOf(frame.view()), "-16383..20000");
    frame.at(4, 4) = -16384;
    EXPECT_EQ(contrastOf(frame.view()), "100..20000");

    EXPECT_EQ(contrastOf(Frame16(40, 40, -20000).view()), "16383..16415");
    EXPECT_EQ(contrastOf(Frame16(1, 1, 5).view()), "16383..16415"); // no rows
    EXPECT_EQ(contrastOf(Frame16(40, 40, 32767).view()), "16383..32767");
}

TEST(ThumbnailContrast, MissingSamplesCountAsZero)
{
    const Frame16 frame(40, 40, 1000);
    EXPECT_EQ(contrastOf(frame.view((40 * 8 - 33) * 2)), "1000..1032"); // up to the last sample that counts
    EXPECT_EQ(contrastOf(frame.view((40 * 8 - 33) * 2 + 1)), "0..1000");
    EXPECT_EQ(contrastOf(frame.view(40 * 40 * 2)), "0..32");
    // What is not there is not walked.
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
    palette.cropMin = 7;
    palette.cropMax = -1;
    limitCropRange(palette);
    EXPECT_EQ(palette.cropMin, 7);
    EXPECT_EQ(palette.cropMax, -1);
}

/// The largest integer not above a value, as the pictures are defined.
std::int64_t referenceFloor(float x)
{
    const float twice = 2 * x - 0.5F;
    return std::llrint(twice) >> 1;
}

std::int64_t referenceSource(int position, float step, int extent)
{
    const std::int64_t pixel = referenceFloor((static_cast<float>(position) + 0.5F) * step);
    return std::min<std::int64_t>(std::max<std::int64_t>(pixel, 0), extent - 1);
}

/// A frame of random samples whose bytes begin at an odd address.
struct RandomFrame {
    RandomFrame(int width, int height, std::int64_t sampleBytes, unsigned int seed)
        : bytes(static_cast<std::size_t>(width * height * sampleBytes) + 1)
    {
        std::mt19937 random(seed);
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        samples = {bytes.data() + 1, static_cast<std::int64_t>(bytes.size()) - 1, width, height};
    }

    /// The sample at an index, 0 when the frame is too short.
    unsigned int at(std::int64_t index, std::int64_t sampleBytes) const
    {
        std::uint16_t value = 0;
        if ((index + 1) * sampleBytes <= samples.bytes)
            std::memcpy(&value, bytes.data() + 1 + index * sampleBytes, static_cast<std::size_t>(sampleBytes));
        return value;
    }

    std::vector<char> bytes;
    FrameSamples samples;
};

struct Case {
    int width, height, maxWidth, maxHeight;
};

constexpr Case cases[] = {
    {576, 576, 160, 120}, {10, 10, 160, 120}, {37, 91, 160, 120}, {300, 2, 9000, 60}, {1, 1, 3, 3}};

TEST(ThumbnailPictures, SixteenBitSamplesTakeTheirColors)
{
    std::vector<QRgb> table(65536);
    std::iota(table.begin(), table.end(), black);
    for (const Case& size : cases) {
        RandomFrame frame(size.width, size.height, 2, 1);
        const auto geometry = thumbnailGeometry(size.width, size.height, size.maxWidth, size.maxHeight);
        ASSERT_TRUE(geometry);
        const float stepX = static_cast<float>(size.width) / static_cast<float>(geometry->width);
        const float stepY = static_cast<float>(size.height) / static_cast<float>(geometry->height);
        // Complete, cut in the middle of a sample in a row, and empty.
        for (const std::int64_t bytes : {frame.samples.bytes, frame.samples.bytes * 2 / 3 - 1, std::int64_t{0}}) {
            frame.samples.bytes = bytes;
            const QImage picture = renderRgb32(frame.samples, *geometry, table);
            ASSERT_EQ(picture.format(), QImage::Format_RGB32);
            ASSERT_EQ(picture.size(), QSize(geometry->width, geometry->height));
            for (int y = 0; y < picture.height(); ++y) {
                for (int x = 0; x < picture.width(); ++x) {
                    const std::int64_t index =
                        referenceSource(y, stepY, size.height) * size.width + referenceSource(x, stepX, size.width);
                    ASSERT_EQ(picture.pixel(x, y), black | frame.at(index, 2)) << x << ", " << y;
                }
            }
        }
    }
    const QImage uncolored = renderRgb32(RandomFrame(4, 4, 2, 1).samples, {3, 2, 1}, {});
    EXPECT_EQ(uncolored.pixel(0, 0), black);
    EXPECT_EQ(uncolored.pixel(2, 1), black);
}

TEST(ThumbnailPictures, EightBitSamplesAreIndexes)
{
    std::vector<QRgb> table(256);
    std::iota(table.begin(), table.end(), black);
    for (const Case& size : cases) {
        RandomFrame frame(size.width, size.height, 1, 2);
        const auto geometry = thumbnailGeometry(size.width, size.height, size.maxWidth, size.maxHeight);
        ASSERT_TRUE(geometry);
        for (const std::int64_t bytes : {frame.samples.bytes, frame.samples.bytes * 2 / 3, std::int64_t{0}}) {
            frame.samples.bytes = bytes;
            const QImage picture = renderIndexed8(frame.samples, *geometry, table);
            ASSERT_EQ(picture.format(), QImage::Format_Indexed8);
            ASSERT_EQ(picture.colorTable(), QList<QRgb>(table.begin(), table.end()));
            for (int y = 0; y < picture.height(); ++y) {
                for (int x = 0; x < picture.width(); ++x) {
                    const std::int64_t index = referenceSource(y, geometry->scale, size.height) * size.width +
                                               referenceSource(x, geometry->scale, size.width);
                    ASSERT_EQ(picture.pixelIndex(x, y), static_cast<int>(frame.at(index, 1))) << x << ", " << y;
                }
            }
        }
    }
    const QImage uncolored = renderIndexed8(RandomFrame(4, 4, 1, 1).samples, {3, 2, 1}, {});
    EXPECT_EQ(uncolored.colorTable(), QList<QRgb>(256, black));
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
