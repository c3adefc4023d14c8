#include <movietools/frames/frameconverter_p.h>

#include <movietools/frames/sampletype.h>
#include <movietools/frames/samplevalues_p.h>

#include <algorithm>
#include <limits>
#include <type_traits>

namespace zd::movietools {

FrameConverter::FrameConverter(const PageFormat& source, const SampleColors& colors)
    : m_source(source), m_format(source), m_colors(colors)
{
    if (isColored(source.type))
        return;
    m_format.type = ZD_RGB;
    m_result.resize(m_format.frameBytes());
    m_table = colors.table(source.type);
}

FrameConverter::FrameConverter(const PageFormat& source, SampleRange range, int bits)
    : m_source(source), m_format(source), m_range(range)
{
    if (isColored(source.type))
        return;
    m_format.type = bits == 8 ? ZD_UCHAR : ZD_USHORT;
    m_result.resize(m_format.frameBytes());
}

const void* FrameConverter::convert(const void* pixels)
{
    if (m_result.empty())
        return pixels;
    const auto* samples = static_cast<const char*>(pixels);
    const std::size_t count = std::size_t{m_source.width} * m_source.height;
    withSampleType(m_source.type, [&]<typename Sample>(Sample) {
        if (m_colors)
            color<Sample>(samples, count);
        else if (m_format.type == ZD_UCHAR)
            scale<Sample, std::uint8_t>(samples, count);
        else
            scale<Sample, std::uint16_t>(samples, count);
    });
    return m_result.data();
}

template <typename Sample>
void FrameConverter::color(const char* pixels, std::size_t count)
{
    char* target = m_result.data();
    for (std::size_t i = 0; i < count; ++i) {
        const Sample sample = sampleAt<Sample>(pixels, i);
        QRgb rgb = 0;
        if constexpr (sizeof(Sample) <= 2)
            rgb = m_table[static_cast<std::make_unsigned_t<Sample>>(sample)];
        else
            rgb = m_colors->at(static_cast<double>(sample));
        *target++ = static_cast<char>(qRed(rgb));
        *target++ = static_cast<char>(qGreen(rgb));
        *target++ = static_cast<char>(qBlue(rgb));
    }
}

template <typename Sample, typename Grey>
void FrameConverter::scale(const char* pixels, std::size_t count)
{
    constexpr double white = std::numeric_limits<Grey>::max();
    const double factor = m_range.high > m_range.low ? white / (m_range.high - m_range.low) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double level = (static_cast<double>(sampleAt<Sample>(pixels, i)) - m_range.low) * factor + 0.5;
        const auto grey = static_cast<Grey>(level >= 0 ? std::min(level, white) : 0); // what is no number is black
        std::memcpy(m_result.data() + i * sizeof grey, &grey, sizeof grey);
    }
}

} // namespace zd::movietools
