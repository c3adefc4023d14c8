#pragma once

#include <QRgb>

#include <cstddef>
#include <limits>
#include <memory>
#include <optional>

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

/// Sample values from `lowest` to `highest`.
struct ValueRange {
    int lowest = std::numeric_limits<int>::min();
    int highest = std::numeric_limits<int>::max();
};

/// One colour for each value of a range of samples: that of value v at index v modulo the number of entries.
class ColorTable {
public:
    /// No entries.
    ColorTable() = default;
    /// That many entries, which hold anything yet.
    explicit ColorTable(std::size_t entries)
        : m_size(entries), m_entries(std::make_unique_for_overwrite<QRgb[]>(entries))
    {
    }

    std::size_t size() const { return m_size; }
    QRgb* entries() { return m_entries.get(); }
    const QRgb* data() const { return m_entries.get(); }
    const QRgb* begin() const { return m_entries.get(); }
    const QRgb* end() const { return m_entries.get() + m_size; }
    QRgb operator[](std::size_t index) const { return m_entries[index]; }

private:
    std::size_t m_size = 0;
    std::unique_ptr<QRgb[]> m_entries;
};

/// The palette's colour of every sample value; a table without entries for a palette without nodes. Colours are
/// opaque; entries that no pair of nodes covers are 0.
///
/// Only the entries of the values in `wanted` are computed; the others hold anything.
///
/// Any palette is safe: fills are limited to the range of the samples, whatever the crop range, and to 16 Mi
/// entries for one table, after which further pairs of nodes are not drawn.
ColorTable buildColorTable(const ZdPalette& palette, SampleRange range, const ColorTableMarks& marks,
                           ValueRange wanted = {});

/// The same operation for any processor.
namespace portable {
ColorTable buildColorTable(const ZdPalette& palette, SampleRange range, const ColorTableMarks& marks,
                           ValueRange wanted = {});
} // namespace portable

} // namespace zd::detail
