#pragma once

#include <QRgb>

#include <optional>
#include <vector>

namespace zd {
class ZdPalette;
}

namespace zd::detail {

/// The sample values that a colour table covers.
enum class SampleRange : int {
    Signed8,   ///< -128 to 127, 256 entries
    Unsigned8, ///< 0 to 255, 256 entries
    Signed16,  ///< -32768 to 32767, 65536 entries; unsigned samples take the colour of the same bits
};

/// Entries of a colour table to draw opaque black.
struct ColorTableMarks {
    bool lowest = false;          ///< the lowest value of the range
    std::optional<int> maskLevel; ///< this value, modulo the number of entries
};

/// Replaces `table` with the palette's colour of every sample value: the entry of value v lies at index
/// v modulo the number of entries. Colours are opaque, except those that the gradient of a palette with a
/// transfer function does not cover, which are 0. A palette without nodes leaves `table` alone.
///
/// Any palette is safe: fills are limited to the range of the samples, whatever the crop range, and to 16 Mi
/// entries for one table, after which further pairs of nodes are not drawn.
void buildColorTable(const ZdPalette& palette, SampleRange range, const ColorTableMarks& marks,
                     std::vector<QRgb>& table);

/// The same operation for any processor.
namespace portable {
void buildColorTable(const ZdPalette& palette, SampleRange range, const ColorTableMarks& marks,
                     std::vector<QRgb>& table);
} // namespace portable

} // namespace zd::detail
