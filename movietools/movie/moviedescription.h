#pragma once

#include <libdataio/attributechunk.h>
#include <libdataio/frametimer.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace zd {
class ImageReader;
class ImageWriter;
} // namespace zd

namespace zd::movietools {

/// What movies hold beside their pixels.
struct MovieDescription {
    AttributeChunk attributes;                 ///< all but frame times that are kept as attributes
    std::vector<std::optional<timeval>> times; ///< one for each frame, or none at all
    std::vector<float> laserPowers;            ///< one for each frame, negative: not known; or none at all
    std::vector<float> fiberCenters;           ///< x0, y0, x1, y1, ... in pixels
};

/// That of some frames of an open movie, without its fibre centres.
MovieDescription describe(ImageReader& movie, const std::vector<unsigned>& frames);

/// Whether a frame has a laser power that is known.
bool hasLaserPowers(const MovieDescription& description);

/// Hands attributes and fibre centres to an open movie of which size and type are set. The attributes that describe its
/// frames stay, but the pixel type's words become those of the description when they mean the same samples.
void applyDescription(const MovieDescription& description, ImageWriter& movie);

} // namespace zd::movietools
