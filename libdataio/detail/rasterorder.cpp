#include <libdataio/detail/rasterorder_p.h>

#include <libdataio/detail/rounding_p.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

namespace zd::detail {

namespace {

/// Bits that order as the values do: -0 like 0, not-a-number last.
std::uint32_t orderedBits(float value)
{
    constexpr std::uint32_t sign = 0x80000000U;
    const auto bits = std::bit_cast<std::uint32_t>(value + 0.0F);
    const std::uint32_t ordered = (bits & sign) != 0 ? ~bits : bits | sign;
    return value == value ? ordered : std::numeric_limits<std::uint32_t>::max();
}

/// Orders as (row, column) does, whatever their values.
std::uint64_t exactKey(float column, float row)
{
    return std::uint64_t{orderedBits(roundHalfEven(row))} << 32 | orderedBits(column);
}

bool isInOrder(const std::vector<float>& positions)
{
    std::uint64_t previous = 0;
    for (std::size_t i = 0; i + 1 < positions.size(); i += 2) {
        const std::uint64_t key = exactKey(positions[i], positions[i + 1]);
        if (key < previous)
            return false;
        previous = key;
    }
    return true;
}

/// Sorts positions of any values.
void sortByExactKeys(std::vector<float>& positions)
{
    struct Fiber {
        std::uint64_t key;
        float column;
        float row;
    };
    std::vector<Fiber> fibers(positions.size() / 2);
    for (std::size_t i = 0; i < fibers.size(); ++i)
        fibers[i] = {exactKey(positions[2 * i], positions[2 * i + 1]), positions[2 * i], positions[2 * i + 1]};
    std::stable_sort(fibers.begin(), fibers.end(), [](const Fiber& a, const Fiber& b) { return a.key < b.key; });
    for (std::size_t i = 0; i < fibers.size(); ++i) {
        positions[2 * i] = fibers[i].column;
        positions[2 * i + 1] = fibers[i].row;
    }
}

/// A fibre in a frame of up to 65536 x 65536 pixels: the row and the column of its pixel, 16 bits each, above its
/// place in the list of positions. Pixels order as positions do, but for those in the same pixel.
using Entry = std::uint64_t;
constexpr int columnShift = 32;
constexpr int rowShift = 48;
constexpr float lastPixel = 65535;

std::uint64_t pixelOf(Entry entry)
{
    return entry >> columnShift;
}

std::size_t placeOf(Entry entry)
{
    return static_cast<std::uint32_t>(entry);
}

float limited(float coordinate)
{
    const float positive = coordinate > 0 ? coordinate : 0;
    return positive < lastPixel ? positive : lastPixel;
}

/// Sets the pixels of `fibers` positions, row above column, and returns whether all lie in such a frame.
bool findPixels(const float* positions, std::size_t fibers, std::uint32_t* pixels)
{
    std::uint32_t outside = 0;
    for (std::size_t i = 0; i < fibers; ++i) {
        const float column = positions[2 * i];
        const float row = roundHalfEven(positions[2 * i + 1]);
        const auto pixelColumn = static_cast<std::int32_t>(limited(column));
        const auto pixelRow = static_cast<std::int32_t>(limited(row));
        pixels[i] = static_cast<std::uint32_t>(pixelRow) << 16 | static_cast<std::uint32_t>(pixelColumn);
        outside |=
            static_cast<std::uint32_t>(limited(column) != column) | static_cast<std::uint32_t>(limited(row) != row);
    }
    return outside == 0;
}

/// Fills `entries`, and returns whether all fibres lie in such a frame.
bool makeEntries(const std::vector<float>& positions, Entry* entries)
{
    std::array<std::uint32_t, 256> pixels;
    const std::size_t fibers = positions.size() / 2;
    for (std::size_t first = 0; first < fibers; first += pixels.size()) {
        const std::size_t count = std::min(pixels.size(), fibers - first);
        if (!findPixels(positions.data() + 2 * first, count, pixels.data()))
            return false;
        for (std::size_t i = 0; i < count; ++i)
            entries[first + i] = static_cast<Entry>(pixels[i]) << columnShift | (first + i);
    }
    return true;
}

/// A part of the pixels by which entries are distributed.
struct Digit {
    static constexpr int maximumBits = 12;

    std::size_t values() const { return std::size_t{1} << bits; }
    std::size_t of(Entry entry) const { return (entry >> shift) & (values() - 1); }

    int shift;
    int bits;
};

/// The digits in which the entries differ, column before row.
std::vector<Digit> findDigits(const Entry* entries, std::size_t fibers)
{
    Entry used = 0;
    for (std::size_t i = 0; i < fibers; ++i)
        used |= entries[i];
    std::vector<Digit> digits;
    for (const int shift : {columnShift, rowShift}) {
        const int width = std::bit_width(static_cast<std::uint16_t>(used >> shift));
        const int lower = width > Digit::maximumBits ? width / 2 : width;
        digits.push_back({shift, lower});
        if (lower < width)
            digits.push_back({shift + lower, width - lower});
    }
    return digits;
}

/// Moves entries into the order of one digit; those with the same digit keep their order.
void distribute(const Entry* source, Entry* target, std::size_t fibers, const Digit& digit)
{
    std::array<std::uint32_t, std::size_t{1} << Digit::maximumBits> next;
    std::fill_n(next.begin(), digit.values(), 0U);
    for (std::size_t i = 0; i < fibers; ++i)
        ++next[digit.of(source[i])];
    std::uint32_t start = 0;
    for (std::size_t value = 0; value < digit.values(); ++value) {
        const std::uint32_t count = next[value];
        next[value] = start;
        start += count;
    }
    for (std::size_t i = 0; i < fibers; ++i)
        target[next[digit.of(source[i])]++] = source[i];
}

/// Sorts entries of one pixel by their exact column.
void sortPixel(Entry* first, Entry* end, const float* positions)
{
    constexpr std::ptrdiff_t fewFibers = 16;
    const auto columnOf = [positions](Entry entry) { return positions[2 * placeOf(entry)]; };
    if (end - first > fewFibers) {
        std::stable_sort(first, end, [&](Entry a, Entry b) { return columnOf(a) < columnOf(b); });
        return;
    }
    for (Entry* next = first + 1; next < end; ++next) {
        const Entry entry = *next;
        Entry* hole = next;
        for (; hole > first && columnOf(entry) < columnOf(hole[-1]); --hole)
            *hole = hole[-1];
        *hole = entry;
    }
}

void sortWithinPixels(Entry* entries, std::size_t fibers, const float* positions)
{
    for (std::size_t first = 0; first < fibers;) {
        std::size_t end = first + 1;
        while (end < fibers && pixelOf(entries[end]) == pixelOf(entries[first]))
            ++end;
        if (end - first > 1)
            sortPixel(entries + first, entries + end, positions);
        first = end;
    }
}

} // namespace

void sortRasterOrder(std::vector<float>& positions)
{
    const std::size_t fibers = positions.size() / 2;
    if (isInOrder(positions))
        return;
    const auto buffer = std::make_unique_for_overwrite<Entry[]>(2 * fibers);
    Entry* entries = buffer.get();
    Entry* spare = entries + fibers;
    if (fibers > std::numeric_limits<std::uint32_t>::max() || !makeEntries(positions, entries)) {
        sortByExactKeys(positions);
        return;
    }
    for (const Digit& digit : findDigits(entries, fibers)) {
        distribute(entries, spare, fibers, digit);
        std::swap(entries, spare);
    }
    sortWithinPixels(entries, fibers, positions.data());
    const std::vector<float> unsorted = positions;
    for (std::size_t i = 0; i < fibers; ++i) {
        const float* source = unsorted.data() + 2 * placeOf(entries[i]);
        positions[2 * i] = source[0];
        positions[2 * i + 1] = source[1];
    }
}

} // namespace zd::detail
