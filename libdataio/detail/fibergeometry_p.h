#pragma once

#include <cstddef>
#include <vector>

namespace zd::detail {

/// Size of the frame that the fibres image, in pixels. Any values are allowed; a side below 1 has no pixels.
struct FiberFrame {
    int width = 0;
    int height = 0;
};

// Fractions are pairs (x, y) of single-precision values in [0, 1], as the words of the fibre-centre chunk give
// them. Raster positions are pairs (column, row) in pixels, single precision. Rounding goes to the nearest integer,
// ties to even.

/// Replaces `out`, which must not hold the fractions, with the position of each of `fibers` fibres: fraction x size.
void fiberPositions(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out);

/// The same with each fibre moved into the frame: columns into [0, width - 1], rows into [0, height - 1]. What is
/// not above 0, not-a-number included, becomes 0.
void clampedFiberPositions(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out);

/// Replaces `out` with each coordinate rounded to the nearest integer, modulo 2^32; not-a-number and values
/// beyond 64 bits give 0.
void toRasterIndexes(const std::vector<float>& positions, std::vector<unsigned int>& out);

/// Turns pairs (column, row) into half as many pixel offsets row x width + column, modulo 2^32, in place.
void toOffsets(std::vector<unsigned int>& indexes, int width);

/// Turns raster positions into world centres, in place: pixel centres, y upwards, the longer side of the frame
/// spanning 0 to 1.
void toWorldCenters(std::vector<float>& positions, FiberFrame frame);

} // namespace zd::detail
