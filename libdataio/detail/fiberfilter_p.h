#pragma once

#include <libdataio/detail/bundleellipse_p.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace zd::detail {

/// Angles, in radians, between which the sine distorts the columns of a raw image.
struct SinusDistortion {
    float t0 = 0;
    float t1 = 0;
};

// Both filters take fractions and give raster positions as `fiberPositions` does, of the fibres that they keep, in
// the order given. Not-a-number in a test rejects the fibre.

/// Keeps the fibres in the frame: column in [0, width - 1] and row in [0, height - 1].
void fibersInFrame(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out);

/// Keeps the fibres in the frame whose position, both as it is and rounded to the pixel, lies in the ellipse
/// inscribed in `box`. With `distortion`, as for raw images, the ellipse is tested at the column with its distortion
/// removed; the positions delivered are the uncorrected ones. A box without width or height, equal angles and
/// distortion of a frame one column wide keep nothing.
void fibersInBundle(const float* fractions, std::size_t fibers, FiberFrame frame, const BundleBox& box,
                    const std::optional<SinusDistortion>& distortion, std::vector<float>& out);

/// What is done without distortion, for any processor.
namespace portable {
void fibersInFrame(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out);
void fibersInBundle(const float* fractions, std::size_t fibers, FiberFrame frame, const BundleBox& box,
                    std::vector<float>& out);
} // namespace portable

/// The same, bit for bit, by 32-byte vectors: to be called only where they are available.
namespace avx2 {
void fibersInFrame(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out);
void fibersInBundle(const float* fractions, std::size_t fibers, FiberFrame frame, const BundleBox& box,
                    std::vector<float>& out);
} // namespace avx2

} // namespace zd::detail
