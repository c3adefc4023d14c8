#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace zd::detail {

/// Size of the frame that the fibres image, in pixels. Any values are allowed; a side below 1 has no pixels.
struct FiberFrame {
    int width = 0;
    int height = 0;
};

/// Rectangle that the fibre bundle covers, in pixels.
struct BundleBox {
    float minX = 0;
    float minY = 0;
    float maxX = 0;
    float maxY = 0;
};

/// Angles, in radians, between which the sine distorts the columns of a raw image.
struct SinusDistortion {
    float t0 = 0;
    float t1 = 0;
};

// The functions below take `fibers` pairs (x, y) of fractions of the frame, as the fibre-centre chunk gives them,
// and replace `out` with raster positions: pairs (column, row) in pixels, single precision, in the order given.
// `out` must not hold the fractions. Rounding goes to the nearest integer, ties to even, throughout.

/// All fibres, each at fraction x size of the frame.
void fiberPositions(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out);

/// All fibres, each moved into the frame: columns into [0, width - 1], rows into [0, height - 1]. What is not
/// above 0, not-a-number included, becomes 0.
void clampedFiberPositions(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out);

/// The fibres with a column in [0, width - 1] and a row in [0, height - 1].
void fibersInFrame(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out);

/// The fibres in the frame whose position, as it is and rounded to the pixel, lies in the ellipse inscribed in
/// `box`. With `distortion`, as for raw images, the ellipse is tested at the column with its distortion removed;
/// the positions delivered are the uncorrected ones. Not-a-number in a test (a box without width, equal angles, a
/// frame one column wide with distortion) rejects the fibre.
void fibersInBundle(const float* fractions, std::size_t fibers, FiberFrame frame, const BundleBox& box,
                    const std::optional<SinusDistortion>& distortion, std::vector<float>& out);

/// Puts pairs (column, row) into raster order: by rounded row, then by column; not-a-number comes last. Equal
/// pairs keep their order.
void sortRasterOrder(std::vector<float>& positions);

/// Replaces `out` with each coordinate rounded to the nearest integer, modulo 2^32; not-a-number and values
/// beyond 64 bits give 0.
void toRasterIndexes(const std::vector<float>& positions, std::vector<unsigned int>& out);

/// Turns pairs (column, row) into half as many pixel offsets row x width + column, modulo 2^32, in place.
void toOffsets(std::vector<unsigned int>& indexes, int width);

/// Turns raster positions into world centres, in place: pixel centres, y upwards, the longer side of the frame
/// spanning 0 to 1.
void toWorldCenters(std::vector<float>& positions, FiberFrame frame);

} // namespace zd::detail
