#include <libdataio/fiberquery_p.h>

#include <libdataio/detail/fiberfilter_p.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/movieheader_p.h>

#include <optional>

namespace zd {

FiberQuery::Outcome FiberQuery::inBundle(const MovieHeader& header, std::vector<float>& out) const
{
    out.clear();
    std::vector<float> corners;
    if (!header.bundleBox(corners)) {
        detail::fibersInFrame(fractions, fibers, frame, out);
        return Outcome::Done;
    }
    const detail::BundleBox box{corners[0], corners[1], corners[2], corners[3]};
    const QString type = header.dataType();
    if (type == layout::dataTypeProcessed) {
        detail::fibersInBundle(fractions, fibers, frame, box, std::nullopt, out);
        return Outcome::Done;
    }
    if (type != layout::dataTypeRaw)
        return Outcome::UnknownDataType;
    detail::SinusDistortion distortion;
    if (header.get(layout::key::sinusT0, distortion.t0) && header.get(layout::key::sinusT1, distortion.t1)) {
        detail::fibersInBundle(fractions, fibers, frame, box, distortion, out);
        return Outcome::Done;
    }
    detail::fibersInFrame(fractions, fibers, frame, out);
    return Outcome::NoDistortion;
}

} // namespace zd
