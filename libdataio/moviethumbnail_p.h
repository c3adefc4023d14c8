#pragma once

#include <libdataio/detail/colortable_p.h>
#include <libdataio/detail/thumbnailrenderer_p.h>
#include <libdataio/pixeltypes.h>

#include <common/zdpalette.h>

#include <QImage>

#include <optional>

namespace zd {

class MovieHeader;

/// The small picture of one frame, by its movie's header.
class MovieThumbnail {
public:
    /// The sample values of a pixel type, nothing for one that has no thumbnails.
    static std::optional<detail::SampleRange> rangeOf(ZDImagePixelType type);
    /// Dimensions of the data: 16-bit movies alone can be anything but pictures.
    static int dimensions(const MovieHeader& header, detail::SampleRange range);

    MovieThumbnail(const detail::FrameSamples& samples, detail::SampleRange range) : m_samples(samples), m_range(range)
    {
    }

    /// Whether the colours are stretched over the contrast of the frame.
    bool isStretched() const { return m_range == detail::SampleRange::Signed16; }
    detail::Contrast contrast() const { return detail::measureContrast(m_samples); }
    /// The colours that the header gives, or those of the range.
    ZdPalette colors(MovieHeader& header) const;
    /// Null when there is no memory for the picture.
    QImage draw(const detail::ThumbnailGeometry& geometry, const ZdPalette& colors, int maskLevel) const;

private:
    detail::FrameSamples m_samples;
    detail::SampleRange m_range;
};

} // namespace zd
