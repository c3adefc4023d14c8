#pragma once

#include <libdataio/pixeltypes.h>

#include <QString>

#include <cstdint>
#include <limits>
#include <vector>

namespace zd {
class ImageReader;
}

namespace zd::python {

/// What every frame of a movie looks like.
struct FrameFormat {
    int width = 0;
    int height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    bool swapped = false; ///< the file has the other byte order
};

/// Stands for the time of a frame that has none.
inline constexpr std::int64_t noTime = std::numeric_limits<std::int64_t>::min();

/// The format of the frames of the movie at `path`. Throws JobError when the header does not tell it.
FrameFormat frameFormat(ImageReader& movie, const QString& path);
/// The times that a movie holds, in microseconds since 1970: one for each frame, as a rule.
std::vector<std::int64_t> heldTimes(ImageReader& movie);
/// The time of each frame.
std::vector<std::int64_t> frameTimes(ImageReader& movie);
/// Laser power for each frame, not a number where it is not known.
std::vector<float> laserPowers(ImageReader& movie);

} // namespace zd::python
