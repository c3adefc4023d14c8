#include <libdataio/moviethumbnail_p.h>

#include <libdataio/imagefilelayout.h>
#include <libdataio/movieheader_p.h>

namespace zd {

std::optional<detail::SampleRange> MovieThumbnail::rangeOf(ZDImagePixelType type)
{
    switch (type) {
    case ZD_UCHAR:
        return detail::SampleRange::Unsigned8;
    case ZD_CHAR:
        return detail::SampleRange::Signed8;
    case ZD_USHORT:
    case ZD_SHORT:
        return detail::SampleRange::Signed16;
    default:
        return std::nullopt;
    }
}

int MovieThumbnail::dimensions(const MovieHeader& header, detail::SampleRange range)
{
    int value = 0;
    const bool told = range == detail::SampleRange::Signed16 && header.get(layout::key::dimension, value);
    return told ? value : layout::defaultDimension;
}

ZdPalette MovieThumbnail::colors(MovieHeader& header) const
{
    ZdPalette colors;
    if (const ZdPalette* stored = header.palette(); stored != nullptr)
        colors = *stored;
    else if (m_range == detail::SampleRange::Signed16)
        colors.initDefault();
    else if (m_range == detail::SampleRange::Signed8)
        colors.initSigned8();
    else
        colors.initUnsigned8();
    if (m_range != detail::SampleRange::Signed16)
        detail::limitCropRange(colors);
    return colors;
}

QImage MovieThumbnail::draw(const detail::ThumbnailGeometry& geometry, const ZdPalette& colors, int maskLevel) const
{
    if (m_range == detail::SampleRange::Signed16) {
        const detail::ColorTableMarks marks{.lowest = false, .maskLevel = maskLevel};
        return detail::renderRgb32(m_samples, geometry, [&](detail::ValueRange shown) {
            return detail::buildColorTable(colors, m_range, marks, shown);
        });
    }
    const detail::ColorTableMarks marks{.lowest = true, .maskLevel = std::nullopt};
    return detail::renderIndexed8(m_samples, geometry, detail::buildColorTable(colors, m_range, marks));
}

} // namespace zd
