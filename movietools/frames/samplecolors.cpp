#include <movietools/frames/samplecolors.h>

#include <common/zdpalette.h>
#include <movietools/frames/samplevalues_p.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>
#include <type_traits>

namespace zd::movietools {

namespace {

/// A step for each value of 16-bit samples; halves, quarters and so on of the range lie on steps.
constexpr int rampSize = 65537;

int channel(double component)
{
    return component > 0 ? static_cast<int>(std::lround(std::min(component, 1.0) * 255)) : 0;
}

QRgb colorOf(const PalNode& node)
{
    return qRgb(channel(node.r), channel(node.g), channel(node.b));
}

QRgb colorOf(const std::array<float, 3>& color)
{
    return qRgb(channel(color[0]), channel(color[1]), channel(color[2]));
}

QRgb between(const PalNode& a, const PalNode& b, double position)
{
    const double width = double{b.value} - a.value;
    const double t = width > 0 ? (position - a.value) / width : 1;
    const auto mixed = [t](float from, float to) { return channel(from + t * (double{to} - from)); };
    return qRgb(mixed(a.r, b.r), mixed(a.g, b.g), mixed(a.b, b.b));
}

/// The palette's colours at even steps from its first node to its last.
std::vector<QRgb> rampOf(const ZdPalette& palette)
{
    const double first = palette.first().value;
    const double width = double{palette.last().value} - first;
    std::vector<QRgb> ramp;
    ramp.reserve(rampSize);
    auto node = palette.begin();
    for (int i = 0; i < rampSize; ++i) {
        const double position = first + width * i / (rampSize - 1);
        while (std::next(node) != palette.end() && std::next(node)->value < position)
            ++node;
        const auto end = std::next(node);
        ramp.push_back(end == palette.end() ? colorOf(*node) : between(*node, *end, position));
    }
    return ramp;
}

} // namespace

SampleColors::SampleColors(double low, double high) : m_low(low), m_high(high) {}

SampleColors SampleColors::greys(double low, double high)
{
    SampleColors colors(low, high);
    colors.m_grey = true;
    colors.m_ramp.reserve(256);
    for (int grey = 0; grey < 256; ++grey)
        colors.m_ramp.push_back(qRgb(grey, grey, grey));
    colors.m_below = colors.m_ramp.front();
    colors.m_above = colors.m_ramp.back();
    return colors;
}

SampleColors SampleColors::ofPalette(const ZdPalette& palette)
{
    return stretched(palette, palette.getValueScaled(palette.first()), palette.getValueScaled(palette.last()));
}

SampleColors SampleColors::stretched(const ZdPalette& palette, double low, double high)
{
    SampleColors colors(low, high);
    colors.m_ramp = rampOf(palette);
    const bool own = palette.useOutOfRangeColors;
    colors.m_below = own ? colorOf(palette.belowColor) : colorOf(palette.first());
    colors.m_above = own ? colorOf(palette.aboveColor) : colorOf(palette.last());
    return colors;
}

QRgb SampleColors::at(double value) const
{
    if (!(value >= m_low))
        return m_below;
    if (value > m_high)
        return m_above;
    const double t = m_high > m_low ? (value - m_low) / (m_high - m_low) : 0;
    // The quotient of an infinite range is no number.
    const double step = t >= 0 ? t * static_cast<double>(m_ramp.size() - 1) : 0;
    return m_ramp[static_cast<std::size_t>(std::lround(step))];
}

std::vector<QRgb> SampleColors::table(ZDImagePixelType type) const
{
    std::vector<QRgb> table;
    withSampleType(type, [&]<typename Sample>(Sample) {
        if constexpr (sizeof(Sample) <= 2) {
            using Bits = std::make_unsigned_t<Sample>;
            for (int bits = 0; bits <= std::numeric_limits<Bits>::max(); ++bits)
                table.push_back(at(static_cast<Sample>(static_cast<Bits>(bits))));
        }
    });
    return table;
}

} // namespace zd::movietools
