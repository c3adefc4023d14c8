#include <bench/support/scalarthumbnail.h>

#include <common/zdpalette.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace zd::bench {

namespace {

constexpr int lowest = -32768;
constexpr int highest = 32767;

QRgb packed(const float* color)
{
    const auto channel = [](float value) { return static_cast<int>(std::nearbyint(value * 255.0F)); };
    return qRgb(channel(color[0]), channel(color[1]), channel(color[2]));
}

int scaledFloor(int pixel, float step)
{
    return static_cast<int>(std::floor((static_cast<float>(pixel) + 0.5F) * step));
}

} // namespace

ScalarThumbnail::ScalarThumbnail(int width, int height, int thumbnailWidth, int thumbnailHeight)
    : m_width(width),
      m_height(height),
      m_thumbnailWidth(thumbnailWidth),
      m_thumbnailHeight(thumbnailHeight),
      m_table(65536)
{
}

void ScalarThumbnail::_stretch(const std::uint16_t* samples, ZdPalette& palette) const
{
    int minimum = 16383;
    int maximum = -16383;
    for (int row = m_height / 10; row < 9 * m_height / 10; row += 4) {
        for (int i = 0; i < 4 * m_width / 5 / 4; ++i) {
            const auto sample = static_cast<std::int16_t>(samples[row * m_width + m_width / 10 + 4 * i]);
            maximum = std::max<int>(maximum, sample);
            if (sample > -16384)
                minimum = std::min<int>(minimum, sample);
        }
    }
    maximum = std::max(maximum, minimum + 32);
    const auto range = static_cast<float>(palette.cropMax - palette.cropMin);
    palette.adjustNodeValues(static_cast<float>(minimum - palette.cropMin) / range,
                             static_cast<float>(maximum - palette.cropMin) / range);
}

/// Entries of the values `from` to `to`, from one colour to another.
void ScalarThumbnail::_fill(int from, int to, const float* first, const float* last)
{
    const auto steps = static_cast<float>(std::max(1, to - from));
    for (int value = from; value <= to; ++value) {
        float color[3];
        for (int i = 0; i < 3; ++i)
            color[i] = first[i] + static_cast<float>(value - from) * ((last[i] - first[i]) / steps);
        m_table[static_cast<std::uint16_t>(value)] = packed(color);
    }
}

void ScalarThumbnail::buildTable(const std::uint16_t* samples, ZdPalette palette)
{
    _stretch(samples, palette);
    const auto lower = [&](const PalNode& node) {
        return static_cast<int>(std::ceil(palette.getValueScaled(node) - 0.0001));
    };
    const auto upper = [&](const PalNode& node) {
        return static_cast<int>(std::floor(palette.getValueScaled(node) + 0.0001));
    };
    const auto range = static_cast<float>(palette.cropMax - palette.cropMin);
    const float below[] = {palette.first().r, palette.first().g, palette.first().b};
    const float above[] = {palette.last().r, palette.last().g, palette.last().b};
    if (lower(palette.first()) > lowest)
        _fill(lowest, lower(palette.first()), below, below);
    for (auto a = palette.begin(), b = std::next(a); b != palette.end(); a = b++) {
        const auto colorAt = [&](int value, float* color) {
            const float along =
                (static_cast<float>(value - palette.cropMin) / range - a->value) / (b->value - a->value);
            color[0] = a->r + along * (b->r - a->r);
            color[1] = a->g + along * (b->g - a->g);
            color[2] = a->b + along * (b->b - a->b);
        };
        float first[3];
        float last[3];
        colorAt(lower(*a), first);
        colorAt(upper(*b), last);
        _fill(lower(*a), upper(*b), first, last);
    }
    if (lower(palette.last()) < highest)
        _fill(lower(palette.last()), highest, above, above);
    m_table[0x8000] = qRgb(0, 0, 0);
}

QImage ScalarThumbnail::sample(const std::uint16_t* samples) const
{
    QImage image(m_thumbnailWidth, m_thumbnailHeight, QImage::Format_RGB32);
    const float stepX = static_cast<float>(m_width) / static_cast<float>(m_thumbnailWidth);
    const float stepY = static_cast<float>(m_height) / static_cast<float>(m_thumbnailHeight);
    std::vector<int> columns(static_cast<std::size_t>(m_thumbnailWidth));
    for (std::size_t x = 0; x < columns.size(); ++x)
        columns[x] = scaledFloor(static_cast<int>(x), stepX);
    for (int y = 0; y < m_thumbnailHeight; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const std::uint16_t* row = samples + scaledFloor(y, stepY) * m_width;
        for (const int column : columns)
            *line++ = m_table[row[column]];
    }
    return image;
}

} // namespace zd::bench
