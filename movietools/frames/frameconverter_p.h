#pragma once

#include <movietools/frames/pageformat.h>
#include <movietools/frames/samplecolors.h>
#include <movietools/frames/samplestatistics_p.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace zd::movietools {

/// Turns the samples of frames into others to look at. Pixels that have colours stay as they are.
class FrameConverter {
public:
    /// To RGB of 8 bits.
    FrameConverter(const PageFormat& source, const SampleColors& colors);
    /// To grey of `bits` (8 or 16), 0 at `range.low` and below, the largest value at `range.high` and above.
    FrameConverter(const PageFormat& source, SampleRange range, int bits);

    const PageFormat& format() const { return m_format; } ///< of the result
    /// The converted frame, borrowed until the next call. Samples need no alignment.
    const void* convert(const void* pixels);

private:
    template <typename Sample>
    void color(const char* pixels, std::size_t count);
    template <typename Sample, typename Grey>
    void scale(const char* pixels, std::size_t count);

    PageFormat m_source;
    PageFormat m_format;
    std::optional<SampleColors> m_colors;
    std::vector<QRgb> m_table; // colours of each bit pattern of 8 and 16-bit samples
    SampleRange m_range;
    std::vector<char> m_result; // empty when nothing is to be converted
};

} // namespace zd::movietools
