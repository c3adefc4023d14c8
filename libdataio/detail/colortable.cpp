#include <libdataio/detail/colortable_p.h>

#include <common/ftransfobase.h>
#include <common/zdpalette.h>
#include <libdataio/detail/avx2_p.h>
#include <libdataio/detail/rounding_p.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>

namespace zd::detail {

namespace {

constexpr QRgb opaqueBlack = 0xFF000000U;

/// Red, green and blue, 0 to 1.
struct Color {
    bool operator==(const Color&) const = default;

    float r;
    float g;
    float b;
};

Color colorOf(const PalNode& node)
{
    return {node.r, node.g, node.b};
}

Color colorOf(const std::array<float, 3>& channels)
{
    return {channels[0], channels[1], channels[2]};
}

/// The low byte of a channel x 255, rounded to the nearest integer.
QRgb packedChannel(float channel)
{
    return static_cast<QRgb>(toInt32(roundHalfEven(channel * 255.0F))) & 0xFFU;
}

QRgb packed(const Color& color)
{
    return opaqueBlack | packedChannel(color.r) << 16 | packedChannel(color.g) << 8 | packedChannel(color.b);
}

/// Whether the channels are so small that `quickChannel` packs them.
bool isOrdinary(const Color& color)
{
    constexpr float limit = 16384;
    return std::fabs(color.r) < limit && std::fabs(color.g) < limit && std::fabs(color.b) < limit;
}

/// What `packedChannel` gives for a channel of an ordinary colour, without branches: adding 1.5 x 2^23 leaves the
/// rounded integer in the low bits of the sum.
inline QRgb quickChannel(float channel)
{
    return std::bit_cast<QRgb>(channel * 255.0F + 0x1.8p23F) & 0xFFU;
}

/// Colours in even steps: step i has the colour start + i x step.
struct Gradient {
    Color at(std::int64_t i) const
    {
        const auto steps = static_cast<float>(i);
        return {start.r + steps * step.r, start.g + steps * step.g, start.b + steps * step.b};
    }

    Color start;
    Color step;
};

/// The gradient that takes `steps` steps between two colours.
Gradient gradientBetween(const Color& start, const Color& end, std::int64_t steps)
{
    const auto divisor = static_cast<float>(steps);
    return {start, {(end.r - start.r) / divisor, (end.g - start.g) / divisor, (end.b - start.b) / divisor}};
}

/// Fills `count` entries with a gradient from step `first` on, all colours being ordinary.
using FillOrdinary = void (*)(const Gradient& gradient, std::int32_t first, std::int32_t count, QRgb* target);

[[gnu::always_inline]] inline void fillOrdinary(const Gradient& gradient, std::int32_t first, std::int32_t count,
                                                QRgb* target)
{
    const Color start = gradient.start;
    const Color step = gradient.step;
    for (std::int32_t k = 0; k < count; ++k) {
        const auto i = static_cast<float>(first + k);
        target[k] = opaqueBlack | quickChannel(start.r + i * step.r) << 16 | quickChannel(start.g + i * step.g) << 8 |
                    quickChannel(start.b + i * step.b);
    }
}

void fillOrdinaryPortable(const Gradient& gradient, std::int32_t first, std::int32_t count, QRgb* target)
{
    fillOrdinary(gradient, first, count, target);
}

#if defined(__x86_64__)
DATAIO_AVX2 void fillOrdinaryAvx2(const Gradient& gradient, std::int32_t first, std::int32_t count, QRgb* target)
{
    fillOrdinary(gradient, first, count, target);
}
#endif

FillOrdinary fastestFill()
{
#if defined(__x86_64__)
    if (avx2::available())
        return fillOrdinaryAvx2;
#endif
    return fillOrdinaryPortable;
}

/// The entries of the values from `lowest` to `highest`, a power of two in number: that of value v lies at index
/// v modulo the number. Fills may reach beyond the values; what they do to values that are not wanted is left undone.
class EntryRange {
public:
    EntryRange(QRgb* entries, std::int64_t lowest, std::int64_t highest, FillOrdinary fillOrdinary,
               ValueRange wanted = {})
        : m_entries(entries),
          m_lowest(lowest),
          m_highest(highest),
          m_firstWanted(std::max<std::int64_t>(lowest, wanted.lowest)),
          m_lastWanted(std::min<std::int64_t>(highest, wanted.highest)),
          m_fillOrdinary(fillOrdinary),
          m_defined(lowest - 1)
    {
    }

    std::int64_t firstWanted() const { return m_firstWanted; }
    std::int64_t lastWanted() const { return m_lastWanted; }

    std::size_t indexOf(std::int64_t value) const
    {
        return static_cast<std::size_t>(value) & static_cast<std::size_t>(m_highest - m_lowest);
    }

    /// Fills the values from `start` to `end` with one colour.
    void fill(std::int64_t start, std::int64_t end, const Color& color)
    {
        define(start, end);
        fillWith(packed(color), start, end);
    }

    /// Fills the values from `start` to `end` with the gradient between two colours; nothing once the fills together
    /// have reached their limit.
    void fill(std::int64_t start, std::int64_t end, const Color& startColor, const Color& endColor)
    {
        if (end < start)
            return;
        m_remaining -= std::max<std::int64_t>(std::min(end, m_highest) - std::max(start, m_lowest) + 1, 0);
        if (m_remaining < 0)
            return;
        if (startColor == endColor && isOrdinary(startColor)) {
            fill(start, end, startColor);
            return;
        }
        define(start, end);
        const Gradient gradient = gradientBetween(startColor, endColor, std::max<std::int64_t>(end - start, 1));
        forPieces(start, end, [&](std::int64_t first, std::int64_t last) {
            fillPiece(gradient, first - start, last - start, m_entries + indexOf(first));
        });
    }

    /// Sets the values that nothing has filled to 0.
    void finish() { define(m_highest + 1, m_highest); }

private:
    /// Notes that the values from `start` to `end` are filled, and sets those left out before them to 0.
    void define(std::int64_t start, std::int64_t end)
    {
        fillWith(0, m_defined + 1, start - 1);
        m_defined = std::max({m_defined, std::min(start - 1, m_highest), std::min(end, m_highest)});
    }

    void fillWith(QRgb entry, std::int64_t start, std::int64_t end)
    {
        forPieces(start, end, [&](std::int64_t first, std::int64_t last) {
            std::fill_n(m_entries + indexOf(first), last - first + 1, entry);
        });
    }

    /// Calls `fillPiece` for the one or two pieces of the range from `start` to `end` that have entries in a row.
    template <typename FillPiece>
    void forPieces(std::int64_t start, std::int64_t end, FillPiece fillPiece)
    {
        const std::int64_t first = std::max(start, m_firstWanted);
        const std::int64_t last = std::min(end, m_lastWanted);
        if (first <= std::min<std::int64_t>(last, -1))
            fillPiece(first, std::min<std::int64_t>(last, -1));
        if (std::max<std::int64_t>(first, 0) <= last)
            fillPiece(std::max<std::int64_t>(first, 0), last);
    }

    /// Fills the entries from step `first` to step `last` of a gradient.
    void fillPiece(const Gradient& gradient, std::int64_t first, std::int64_t last, QRgb* target) const
    {
        // Between ordinary ends all is ordinary: the steps are even, and rounding keeps their order.
        if (last < std::numeric_limits<std::int32_t>::max() && isOrdinary(gradient.at(first)) &&
            isOrdinary(gradient.at(last))) {
            m_fillOrdinary(gradient, static_cast<std::int32_t>(first), static_cast<std::int32_t>(last - first + 1),
                           target);
            return;
        }
        for (std::int64_t i = first; i <= last; ++i)
            *target++ = packed(gradient.at(i));
    }

    QRgb* m_entries;
    std::int64_t m_lowest;
    std::int64_t m_highest;
    std::int64_t m_firstWanted;
    std::int64_t m_lastWanted;
    FillOrdinary m_fillOrdinary;
    std::int64_t m_defined;                            ///< all values up to this one are set
    std::int64_t m_remaining = std::int64_t{16} << 20; ///< entries that gradients may still fill
};

/// Tolerance in data units within which a node lies at a sample value.
constexpr double nodeTolerance = 0.0001;

std::int32_t firstValueFrom(float position)
{
    return toInt32(std::ceil(position - nodeTolerance));
}

std::int32_t lastValueUpTo(float position)
{
    return toInt32(std::floor(position + nodeTolerance));
}

/// Draws a palette that has nodes.
class TableBuilder {
public:
    TableBuilder(const ZdPalette& palette, std::int32_t lowest, std::int32_t highest, FillOrdinary fillOrdinary,
                 ValueRange wanted, QRgb* table)
        : m_palette(palette),
          m_lowest(lowest),
          m_highest(highest),
          m_fillOrdinary(fillOrdinary),
          m_table(table),
          m_entries(table, lowest, highest, fillOrdinary, wanted)
    {
        limitCrop();
    }

    void draw()
    {
        if (m_palette.getTransfo() == nullptr)
            drawPlain();
        else
            drawTransformed();
    }

    /// Makes the entry of a value, modulo the number of entries, black.
    void mark(std::int64_t value) { m_table[m_entries.indexOf(value)] = opaqueBlack; }

private:
    /// Finds the values of the first and the last node, and moves a crop range that reaches beyond the samples.
    void limitCrop()
    {
        m_low = firstValueFrom(m_palette.getValueScaled(m_palette.first()));
        m_high = firstValueFrom(m_palette.getValueScaled(m_palette.last()));
        if (m_low < m_lowest)
            m_low = m_palette.cropMin = m_lowest;
        if (m_high > m_highest)
            m_high = m_palette.cropMax = m_highest;
    }

    Color belowColor() const
    {
        return m_palette.useOutOfRangeColors ? colorOf(m_palette.belowColor) : colorOf(m_palette.first());
    }

    Color aboveColor() const
    {
        return m_palette.useOutOfRangeColors ? colorOf(m_palette.aboveColor) : colorOf(m_palette.last());
    }

    void drawPlain()
    {
        if (m_low > m_lowest)
            m_entries.fill(m_lowest, m_low, belowColor());
        for (auto node = m_palette.begin(); std::next(node) != m_palette.end(); ++node)
            drawPair(*node, *std::next(node));
        if (m_high != m_highest)
            m_entries.fill(m_high, m_highest, aboveColor());
        m_entries.finish();
    }

    void drawPair(const PalNode& a, const PalNode& b)
    {
        const std::int32_t start = firstValueFrom(m_palette.getValueScaled(a));
        const std::int32_t end = lastValueUpTo(m_palette.getValueScaled(b));
        if (start <= end)
            m_entries.fill(start, end, colorBetween(a, b, start), colorBetween(a, b, end));
    }

    /// The colour of a value on the line through two nodes.
    Color colorBetween(const PalNode& a, const PalNode& b, std::int64_t value) const
    {
        const std::int64_t width = std::int64_t{m_palette.cropMax} - m_palette.cropMin;
        const float t = static_cast<float>(value - m_palette.cropMin) / static_cast<float>(width);
        const auto channel = [&](float from, float to) {
            return from + (t - a.value) * (to - from) / (b.value - a.value);
        };
        return {channel(a.r, b.r), channel(a.g, b.g), channel(a.b, b.b)};
    }

    void drawTransformed()
    {
        const ColorTable colors = nodeColors();
        m_entries.fill(m_lowest, std::int64_t{m_low} - 1, belowColor());
        m_entries.fill(m_high, m_highest, aboveColor());
        const auto width = static_cast<float>(std::int64_t{m_high} - m_low);
        const float lastColor = static_cast<float>(gradientColors - 1);
        const std::int64_t end = std::min<std::int64_t>(m_high, m_entries.lastWanted() + 1);
        for (std::int64_t value = std::max<std::int64_t>(m_low, m_entries.firstWanted()); value < end; ++value) {
            const double bent = m_palette.getTransfo()->value(static_cast<float>(value - m_low) / width);
            const std::int32_t index = toInt32(roundHalfEven(static_cast<float>(bent) * lastColor));
            m_table[m_entries.indexOf(value)] =
                colors[static_cast<std::size_t>(std::clamp(index, 0, gradientColors - 1))];
        }
    }

    /// The colours of all nodes in even steps from the first node to the last; 0 where no pair of nodes reaches.
    ColorTable nodeColors() const
    {
        ColorTable colors(gradientColors);
        EntryRange entries(colors.entries(), 0, gradientColors - 1, m_fillOrdinary);
        const float origin = m_palette.first().value;
        const float span = m_palette.last().value - origin;
        const float scale = span == 0 ? 0.0F : static_cast<float>(gradientColors - 1) / span;
        const auto indexOf = [&](const PalNode& node) { return toInt32(roundHalfEven((node.value - origin) * scale)); };
        for (auto node = m_palette.begin(); std::next(node) != m_palette.end(); ++node) {
            const PalNode& next = *std::next(node);
            if (indexOf(*node) != indexOf(next))
                entries.fill(indexOf(*node), indexOf(next), colorOf(*node), colorOf(next));
        }
        entries.finish();
        return colors;
    }

    static constexpr std::int32_t gradientColors = 65536;

    ZdPalette m_palette; ///< the palette, with the crop range limited
    std::int32_t m_lowest;
    std::int32_t m_highest;
    FillOrdinary m_fillOrdinary;
    QRgb* m_table;
    EntryRange m_entries;
    std::int32_t m_low = 0;  ///< value of the first node
    std::int32_t m_high = 0; ///< value of the last node
};

std::int32_t lowestOf(SampleRange range)
{
    switch (range) {
    case SampleRange::Signed8:
        return -128;
    case SampleRange::Unsigned8:
        return 0;
    case SampleRange::Signed16:
        break;
    }
    return -32768;
}

ColorTable build(const ZdPalette& palette, SampleRange range, const ColorTableMarks& marks, ValueRange wanted,
                 FillOrdinary fillOrdinary)
{
    if (palette.size() == 0)
        return {};
    const std::int32_t lowest = lowestOf(range);
    const std::int32_t entries = range == SampleRange::Signed16 ? 65536 : 256;
    ColorTable table(static_cast<std::size_t>(entries));
    TableBuilder builder(palette, lowest, lowest + entries - 1, fillOrdinary, wanted, table.entries());
    builder.draw();
    if (marks.lowest)
        builder.mark(lowest);
    if (marks.maskLevel)
        builder.mark(*marks.maskLevel);
    return table;
}

} // namespace

ColorTable buildColorTable(const ZdPalette& palette, SampleRange range, const ColorTableMarks& marks, ValueRange wanted)
{
    return build(palette, range, marks, wanted, fastestFill());
}

namespace portable {

ColorTable buildColorTable(const ZdPalette& palette, SampleRange range, const ColorTableMarks& marks, ValueRange wanted)
{
    return build(palette, range, marks, wanted, fillOrdinaryPortable);
}

} // namespace portable

} // namespace zd::detail
