#include <libdataio/detail/thumbnailrenderer_p.h>

#include <common/zdpalette.h>
#include <libdataio/detail/rounding_p.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace zd::detail {

namespace {

constexpr QRgb opaqueBlack = 0xFF000000U;
constexpr std::int64_t maximumPictureBytes = std::int64_t{256} << 20;
constexpr std::int64_t bytesPerPixel = 4;
constexpr std::int64_t bytesPer16 = sizeof(std::int16_t);

/// The largest integer not above a value; 0 for what is not a number or lies beyond 2^60.
std::int64_t floorOf(float value)
{
    const float twice = roundHalfEven(2 * value - 0.5F);
    return std::fabs(twice) < 0x1p61F ? static_cast<std::int64_t>(twice) >> 1 : 0;
}

/// The pixel of the frame that pixel `position` of the thumbnail shows, along a side of `extent` pixels.
int sourcePixel(int position, float step, int extent)
{
    const std::int64_t pixel = floorOf((static_cast<float>(position) + 0.5F) * step);
    return static_cast<int>(std::clamp<std::int64_t>(pixel, 0, extent - 1));
}

std::int16_t load16(const char* sample)
{
    std::int16_t value;
    std::memcpy(&value, sample, sizeof value);
    return value;
}

/// Samples of row `row` that the frame holds.
std::int64_t samplesInRow(const FrameSamples& frame, int row, std::int64_t sampleBytes)
{
    const std::int64_t start = std::int64_t{row} * frame.width * sampleBytes;
    return std::clamp<std::int64_t>((frame.bytes - start) / sampleBytes, 0, frame.width);
}

/// The first sample of a row that the frame holds a part of.
const char* rowOf(const FrameSamples& frame, int row, std::int64_t sampleBytes)
{
    return static_cast<const char*>(frame.data) + std::int64_t{row} * frame.width * sampleBytes;
}

/// Every how manieth row and column of a frame counts in its contrast.
constexpr int contrastStep = 4;

/// Finds the contrast of samples. They are compared eight at a time, whether or not all count.
class ContrastMeter {
public:
    void take(std::int16_t sample)
    {
        m_maximum = std::max<int>(m_maximum, sample);
        m_lowest = std::min<int>(m_lowest, static_cast<std::int16_t>(sample - displacement));
    }

    /// Takes every fourth of `count` adjoining samples, from the first on.
    void takeFourths(const char* samples, std::int64_t count)
    {
        Lanes maxima = Lanes{} + std::int16_t{-16383};
        Lanes lowest = Lanes{} + std::int16_t{16383 - displacement};
        std::int64_t done = 0;
        for (; done + laneCount <= count; done += laneCount) {
            Lanes lanes;
            std::memcpy(&lanes, samples + done * bytesPer16, sizeof lanes);
            const auto displaced = reinterpret_cast<Lanes>(reinterpret_cast<UnsignedLanes>(lanes) - displacement);
            maxima = lanes > maxima ? lanes : maxima;
            lowest = displaced < lowest ? displaced : lowest;
        }
        for (int lane = 0; lane < laneCount; lane += contrastStep) {
            m_maximum = std::max<int>(m_maximum, maxima[lane]);
            m_lowest = std::min<int>(m_lowest, lowest[lane]);
        }
        for (; done < count; done += contrastStep)
            take(load16(samples + done * bytesPer16));
    }

    Contrast contrast() const
    {
        constexpr int leastWidth = 32;
        const int minimum = m_lowest + displacement;
        return {minimum, std::max(m_maximum, minimum + leastWidth)};
    }

private:
    static constexpr int laneCount = 8;
    using Lanes [[gnu::vector_size(laneCount * bytesPer16)]] = std::int16_t;
    using UnsignedLanes [[gnu::vector_size(laneCount * bytesPer16)]] = std::uint16_t;

    // Less this, modulo 2^16, the samples from -16383 on keep their order, and those below come after all of them: the
    // least is the minimum of those that count.
    static constexpr std::uint16_t displacement = 16385;

    int m_maximum = -16383;
    int m_lowest = 16383 - displacement;
};

/// Samples a frame at the pixels that the thumbnail shows. `Pixel` is a pixel of the picture.
template <typename Pixel>
class Sampler {
public:
    Sampler(const FrameSamples& frame, float stepX, float stepY, QImage& picture)
        : m_frame(frame), m_stepX(stepX), m_stepY(stepY), m_picture(picture)
    {
    }

    /// Sets each pixel to `pixelAt` of the address of its sample, or to `missing` where the frame has none.
    template <typename PixelAt>
    void run(std::int64_t sampleBytes, Pixel missing, PixelAt pixelAt)
    {
        for (int first = 0; first < m_picture.width(); first += blockColumns) {
            const int columns = std::min(blockColumns, m_picture.width() - first);
            findOffsets(first, columns, sampleBytes);
            for (int y = 0; y < m_picture.height(); ++y)
                drawRow(y, first, columns, sampleBytes, missing, pixelAt);
        }
    }

private:
    // The offsets are kept for so many columns at a time: a picture may be one row of millions.
    static constexpr int blockColumns = 4096;

    void findOffsets(int first, int columns, std::int64_t sampleBytes)
    {
        for (int i = 0; i < columns; ++i)
            m_offsets[static_cast<std::size_t>(i)] = sourcePixel(first + i, m_stepX, m_frame.width) * sampleBytes;
    }

    template <typename PixelAt>
    void drawRow(int y, int first, int columns, std::int64_t sampleBytes, Pixel missing, PixelAt pixelAt)
    {
        const int row = sourcePixel(y, m_stepY, m_frame.height);
        const std::int64_t end = samplesInRow(m_frame, row, sampleBytes) * sampleBytes;
        const char* source = end > 0 ? rowOf(m_frame, row, sampleBytes) : nullptr;
        auto* target = reinterpret_cast<Pixel*>(m_picture.scanLine(y)) + first;
        if (m_offsets[static_cast<std::size_t>(columns - 1)] < end) {
            for (int i = 0; i < columns; ++i)
                target[i] = pixelAt(source + m_offsets[static_cast<std::size_t>(i)]);
        } else {
            for (int i = 0; i < columns; ++i) {
                const std::int64_t offset = m_offsets[static_cast<std::size_t>(i)];
                target[i] = offset < end ? pixelAt(source + offset) : missing;
            }
        }
    }

    const FrameSamples& m_frame;
    float m_stepX;
    float m_stepY;
    QImage& m_picture;
    std::array<std::int64_t, blockColumns> m_offsets;
};

/// The range of samples, each widened to 32 bits. There is at least one.
ValueRange rangeOf(std::span<const std::int32_t> samples)
{
    constexpr std::size_t wordCount = 8;
    using Words [[gnu::vector_size(wordCount * bytesPer16)]] = std::int16_t;
    ValueRange range{samples.front(), samples.front()};
    const auto take = [&range](int sample) {
        range = {std::min(range.lowest, sample), std::max(range.highest, sample)};
    };
    // Compared by words of 16 bits, of which every other one is a sample and the rest are its sign: words are compared
    // in one step, and twice as many at a time.
    Words lowest = Words{} + static_cast<std::int16_t>(samples.front());
    Words highest = lowest;
    for (; samples.size() >= wordCount / 2; samples = samples.subspan(wordCount / 2)) {
        Words words;
        std::memcpy(&words, samples.data(), sizeof words);
        lowest = words < lowest ? words : lowest;
        highest = words > highest ? words : highest;
    }
    for (std::size_t lane = std::endian::native == std::endian::little ? 0 : 1; lane < wordCount; lane += 2) {
        take(lowest[lane]);
        take(highest[lane]);
    }
    std::ranges::for_each(samples, take);
    return range;
}

} // namespace

std::optional<ThumbnailGeometry> thumbnailGeometry(int width, int height, int maxWidth, int maxHeight)
{
    if (width < 1 || height < 1 || maxWidth < 1 || maxHeight < 1)
        return std::nullopt;
    const float scale = std::max(static_cast<float>(width) / static_cast<float>(maxWidth),
                                 static_cast<float>(height) / static_cast<float>(maxHeight));
    const std::int64_t columns = floorOf(static_cast<float>(width) / scale);
    const std::int64_t rows = floorOf(static_cast<float>(height) / scale);
    constexpr std::int64_t maximumPixels = maximumPictureBytes / bytesPerPixel;
    if (columns < 1 || rows < 1 || columns > maximumPixels || rows > maximumPixels / columns)
        return std::nullopt;
    return ThumbnailGeometry{static_cast<int>(columns), static_cast<int>(rows), scale};
}

Contrast measureContrast(const FrameSamples& frame)
{
    const int firstRow = frame.height / 10;
    const auto endRow = static_cast<int>(std::int64_t{frame.height} * 9 / 10);
    const int firstColumn = frame.width / 10;
    const std::int64_t columns = std::int64_t{frame.width} * 4 / 5 / contrastStep * contrastStep;
    ContrastMeter meter;
    for (int row = firstRow; row < endRow; row += contrastStep) {
        const std::int64_t held = samplesInRow(frame, row, bytesPer16) - firstColumn;
        if (held <= columns - contrastStep)
            meter.take(0);
        if (held <= 0)
            break; // and so for all rows below
        meter.takeFourths(rowOf(frame, row, bytesPer16) + firstColumn * bytesPer16, std::min(held, columns));
    }
    return meter.contrast();
}

PaletteStretch paletteStretch(const ZdPalette& palette, const Contrast& contrast)
{
    const std::int64_t range = std::int64_t{palette.cropMax} - palette.cropMin;
    if (range < 1)
        return {};
    const auto position = [&](int value) {
        return static_cast<float>(std::int64_t{value} - palette.cropMin) / static_cast<float>(range);
    };
    const float low = position(contrast.minimum);
    const float high = position(contrast.maximum);
    const bool lowOutside = low < 0 || low > 1;
    const bool highOutside = high < 0 || high > 1;
    return {true, lowOutside, highOutside, lowOutside ? 0 : low, highOutside ? 1 : high};
}

void limitCropRange(ZdPalette& palette)
{
    palette.cropMin = std::max(palette.cropMin, 0);
    palette.cropMax = std::min(palette.cropMax, 32767);
}

QImage renderIndexed8(const FrameSamples& frame, const ThumbnailGeometry& geometry, std::span<const QRgb> table)
{
    QImage picture(geometry.width, geometry.height, QImage::Format_Indexed8);
    if (picture.isNull())
        return picture;
    QVector<QRgb> colors(256, opaqueBlack);
    std::copy_n(table.begin(), std::min<std::size_t>(table.size(), 256), colors.begin());
    picture.setColorTable(colors);
    Sampler<uchar>(frame, geometry.scale, geometry.scale, picture).run(1, 0, [](const char* sample) {
        return static_cast<uchar>(*sample);
    });
    return picture;
}

QImage renderRgb32(const FrameSamples& frame, const ThumbnailGeometry& geometry,
                   const std::function<ColorTable(ValueRange shown)>& tableOf)
{
    QImage picture(geometry.width, geometry.height, QImage::Format_RGB32);
    if (picture.isNull())
        return picture;
    const float stepX = static_cast<float>(frame.width) / static_cast<float>(geometry.width);
    const float stepY = static_cast<float>(frame.height) / static_cast<float>(geometry.height);
    // The samples take the place of their colours until it is known which colours are needed.
    Sampler<std::int32_t>(frame, stepX, stepY, picture).run(bytesPer16, 0, [](const char* sample) {
        return std::int32_t{load16(sample)};
    });
    const std::span<std::int32_t> pixels(reinterpret_cast<std::int32_t*>(picture.bits()),
                                         static_cast<std::size_t>(picture.sizeInBytes() / bytesPerPixel));
    const ColorTable table = tableOf(rangeOf(pixels));
    if (table.size() != 65536) {
        picture.fill(opaqueBlack);
        return picture;
    }
    const QRgb* colors = table.data();
    for (std::int32_t& pixel : pixels)
        pixel = static_cast<std::int32_t>(colors[static_cast<std::uint16_t>(pixel)]);
    return picture;
}

} // namespace zd::detail
