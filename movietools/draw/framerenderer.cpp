#include <movietools/draw/framerenderer.h>

#include <common/iofileexception.h>
#include <common/zdpalette.h>
#include <libdataio/attributepaletteadaptor.h>
#include <libdataio/imagereader.h>
#include <movietools/frames/sampletype.h>
#include <movietools/frames/samplevalues_p.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace zd::movietools {

namespace {

/// Sample `index` at any alignment; 0 when the frame ends before it.
template <typename Sample>
Sample sampleAt(std::span<const char> frame, std::size_t index)
{
    return (index + 1) * sizeof(Sample) <= frame.size() ? movietools::sampleAt<Sample>(frame.data(), index) : Sample{};
}

/// Lowest and highest value of a frame, those that are no finite numbers aside; at least something apart.
template <typename Sample>
std::array<double, 2> contrast(std::span<const char> frame, const QSize& size)
{
    const std::size_t pixels = static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height());
    const std::size_t samples = std::min(pixels, frame.size() / sizeof(Sample));
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
    for (std::size_t i = 0; i < samples; ++i) {
        const auto value = static_cast<double>(sampleAt<Sample>(frame, i));
        if (!std::isfinite(value))
            continue;
        low = std::min(low, value);
        high = std::max(high, value);
    }
    if (low > high)
        return {0, 1};
    return {low, high > low ? high : low + std::max(1.0, std::abs(low))};
}

ZdPalette paletteOf(ImageReader& movie)
{
    ZdPalette palette;
    if (!AttributePaletteAdaptor::attributesToPalette(movie.attributeChunk(), palette, QString()))
        palette.reset();
    return palette;
}

bool hasRange(const ZdPalette& palette)
{
    return palette.getValueScaled(palette.last()) > palette.getValueScaled(palette.first());
}

void putPixel(QImage& picture, uchar* line, int x, QRgb color)
{
    if (picture.format() == QImage::Format_Grayscale8)
        line[x] = static_cast<uchar>(qRed(color));
    else
        std::memcpy(line + std::ptrdiff_t{x} * std::ptrdiff_t{sizeof color}, &color, sizeof color);
}

/// Draws every sample in the colour that `colorOf` gives it.
template <typename Sample, typename ColorOf>
void drawEach(std::span<const char> frame, QImage& picture, ColorOf colorOf)
{
    std::size_t index = 0;
    for (int y = 0; y < picture.height(); ++y) {
        uchar* line = picture.scanLine(y);
        for (int x = 0; x < picture.width(); ++x)
            putPixel(picture, line, x, colorOf(sampleAt<Sample>(frame, index++)));
    }
}

} // namespace

FrameRenderer::FrameRenderer(ImageReader& movie) : m_movie(movie), m_hasPalette(paletteOf(movie).size() > 0)
{
    int width = 0;
    int height = 0;
    if (movie.width(width) && movie.height(height) && movie.pixType(m_type) && GetPixBits(m_type) > 0 && width > 0 &&
        height > 0)
        m_size = QSize(width, height);
}

std::int64_t FrameRenderer::frameBytes() const
{
    const std::int64_t pixelBytes = GetPixBits(m_type) / 8;
    const std::int64_t pixels = m_size.isEmpty() ? 0 : std::int64_t{m_size.width()} * m_size.height();
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    return pixels <= most / 8 ? pixels * pixelBytes : most;
}

QImage::Format FrameRenderer::format() const
{
    if (m_type == ZD_RGBA)
        return QImage::Format_RGBA8888;
    if (m_type == ZD_RGB)
        return QImage::Format_RGB888;
    return m_hasPalette ? QImage::Format_RGB32 : QImage::Format_Grayscale8;
}

bool FrameRenderer::draw(unsigned index, QImage& picture)
{
    if (m_size.isEmpty())
        return false;
    if (!isColored(m_type) && !m_colors)
        chooseColors(index);
    const std::optional<Frame> frame = readFrame(index);
    if (!frame)
        return false;
    if (isColored(m_type))
        drawColors(*frame, picture);
    else
        drawSamples(*frame, picture);
    return true;
}

std::optional<FrameRenderer::Frame> FrameRenderer::readFrame(unsigned index)
{
    const void* data = nullptr;
    if (!m_movie.getFrame(data, index) || data == nullptr)
        return std::nullopt;
    return Frame(static_cast<const char*>(data), static_cast<std::size_t>(m_movie.frameSize()));
}

void FrameRenderer::chooseColors(unsigned index)
{
    const ZdPalette palette = paletteOf(m_movie);
    if (m_hasPalette && hasRange(palette)) {
        m_colors = SampleColors::ofPalette(palette);
    } else {
        const std::array<double, 2> range = rangeToShow(index);
        m_colors = m_hasPalette ? SampleColors::stretched(palette, range[0], range[1])
                                : SampleColors::greys(range[0], range[1]);
    }
    m_table = m_colors->table(m_type);
}

/// The range of values to show: of the first frame, or when that is damaged of the one that is wanted.
std::array<double, 2> FrameRenderer::rangeToShow(unsigned index)
{
    std::optional<Frame> frame;
    try {
        frame = readFrame(0);
    } catch (const IOFileException&) {
        // What is wrong with another frame than the wanted one is not told.
    }
    if (!frame)
        frame = readFrame(index);
    std::array<double, 2> range{0, 1};
    withSampleType(m_type, [&]<typename Sample>(Sample) {
        if constexpr (sizeof(Sample) == 1)
            range = {double{std::numeric_limits<Sample>::min()}, double{std::numeric_limits<Sample>::max()}};
        else if (frame)
            range = contrast<Sample>(*frame, m_size);
    });
    return range;
}

void FrameRenderer::drawSamples(const Frame& frame, QImage& picture) const
{
    withSampleType(m_type, [&]<typename Sample>(Sample) {
        if constexpr (sizeof(Sample) <= 2) {
            drawEach<Sample>(frame, picture, [this](Sample value) {
                return m_table[static_cast<std::make_unsigned_t<Sample>>(value)];
            });
        } else {
            drawEach<Sample>(frame, picture, [this](Sample value) { return m_colors->at(static_cast<double>(value)); });
        }
    });
}

/// Rows of colours are laid out alike in frame and picture.
void FrameRenderer::drawColors(const Frame& frame, QImage& picture) const
{
    const std::int64_t rowBytes = std::int64_t{m_size.width()} * (GetPixBits(m_type) / 8);
    for (int y = 0; y < m_size.height(); ++y) {
        const std::int64_t there =
            std::clamp<std::int64_t>(static_cast<std::int64_t>(frame.size()) - y * rowBytes, 0, rowBytes);
        uchar* line = picture.scanLine(y);
        if (there > 0)
            std::memcpy(line, frame.data() + y * rowBytes, static_cast<std::size_t>(there));
        std::memset(line + there, 0, static_cast<std::size_t>(rowBytes - there));
    }
}

} // namespace zd::movietools
