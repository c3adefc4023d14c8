#pragma once

#include <vector>

namespace zd::detail {

/// Puts pairs (column, row) into raster order: ascending by row, rounded to the nearest integer (ties to even), and
/// within a row by column; not-a-number comes last. Equal pairs keep their order.
void sortRasterOrder(std::vector<float>& positions);

} // namespace zd::detail
