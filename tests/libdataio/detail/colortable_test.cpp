#include <common/ftransfobase.h>
#include <common/zdpalette.h>
#include <libdataio/detail/colortable_p.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace zd::detail {
namespace {

constexpr QRgb black = 0xFF000000U;
constexpr QRgb white = 0xFFFFFFFFU;
constexpr int smallest = std::numeric_limits<int>::min();
constexpr int largest = std::numeric_limits<int>::max();
constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

QRgb grey(unsigned int level)
{
    return black | level * 0x010101U;
}

/// A palette over a crop range from nodes of grey.
ZdPalette palette(int cropMin, int cropMax, std::initializer_list<std::pair<float, float>> nodes)
{
    ZdPalette result;
    result.cropMin = cropMin;
    result.cropMax = cropMax;
    for (const auto& [position, level] : nodes)
        result.addColor(position, level, level, level);
    return result;
}

std::vector<QRgb> table(const ZdPalette& colors, SampleRange range, const ColorTableMarks& marks = {})
{
    const ColorTable result = buildColorTable(colors, range, marks);
    return {result.begin(), result.end()};
}

int lowestOf(SampleRange range)
{
    return range == SampleRange::Signed8 ? -128 : range == SampleRange::Unsigned8 ? 0 : -32768;
}

int highestOf(SampleRange range)
{
    return lowestOf(range) + (range == SampleRange::Signed16 ? 65535 : 255);
}

TEST(ColorTable, MarksAreOpaqueBlack)
{
    const auto blackEntries = [](SampleRange range, const ColorTableMarks& marks) {
        const std::vector<QRgb> entries = table(palette(0, 100, {{0, 1}, {1, 1}}), range, marks);
        std::vector<std::size_t> indexes;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (entries[i] != white)
                indexes.push_back(entries[i] == black ? i : 0);
        }
        return indexes;
    };
    using Indexes = std::vector<std::size_t>;
    EXPECT_EQ(blackEntries(SampleRange::Unsigned8, {true, 3}), (Indexes{0, 3}));
    EXPECT_EQ(blackEntries(SampleRange::Signed8, {true, {}}), Indexes{0x80});
    EXPECT_EQ(blackEntries(SampleRange::Signed16, {true, 65536 * 3 - 1}), (Indexes{0x8000, 0xFFFF}));
    EXPECT_EQ(blackEntries(SampleRange::Signed16, {false, -32768}), Indexes{0x8000});
    EXPECT_EQ(blackEntries(SampleRange::Signed16, {false, 4095}), Indexes{4095});
}

TEST(ColorTable, ValuesWithoutAColorAreDefined)
{
    EXPECT_EQ(buildColorTable(ZdPalette(), SampleRange::Signed16, {true, 0}).size(), 0U);
    const std::vector<QRgb> allWhite(256, white);
    EXPECT_EQ(table(palette(5, 5, {{notANumber, 1}}), SampleRange::Unsigned8), allWhite);
}

TEST(ColorTable, AnyTransferFunctionIsSafe)
{
    struct Wild final : FTransfoBase {
        double value(float position) const override
        {
            const double values[] = {-5, 1e300, notANumber, -infinity};
            return values[static_cast<std::size_t>(position * 4)];
        }
    };
    ZdPalette wild = palette(0, 4, {{0, 0.2F}, {1, 1}});
    wild.setTransfo(std::make_shared<Wild>());
    std::vector<QRgb> limited(256, white);
    limited[0] = limited[2] = limited[3] = grey(51);
    EXPECT_EQ(table(wild, SampleRange::Unsigned8), limited);
}

TEST(ColorTable, FillsAreCapped)
{
    // Each even pair of nodes fills all entries; the red of the pairs rises, and from the 257th on they are blue.
    ZdPalette colors = palette(-32768, 32767, {});
    for (int pair = 0; pair < 20000; ++pair) {
        const float red = pair < 256 ? static_cast<float>(pair) / 255 : 0;
        const float blue = pair < 256 ? 0 : 1;
        colors.addColor(0, red, 0, blue);
        colors.addColor(1, red, 0, blue);
    }
    EXPECT_EQ(table(colors, SampleRange::Signed16), std::vector<QRgb>(65536, 0xFFFF0000U));
}

/// The building of a table told step by step, one entry at a time.
struct Reference {
    using Channels = std::array<float, 3>;

    Reference(const ZdPalette& palette, SampleRange range)
        : p(palette),
          lowest(lowestOf(range)),
          highest(highestOf(range)),
          entries(static_cast<std::size_t>(highest - lowest + 1), 0),
          nodes(palette.begin(), palette.end()),
          lo(ceilOf(nodes.front())),
          hi(ceilOf(nodes.back()))
    {
        if (lo < lowest)
            p.cropMin = static_cast<int>(lo = lowest);
        if (hi > highest)
            p.cropMax = static_cast<int>(hi = highest);
        const QRgb below = packed(p.useOutOfRangeColors ? p.belowColor : colorOf(nodes.front()));
        const QRgb above = packed(p.useOutOfRangeColors ? p.aboveColor : colorOf(nodes.back()));
        if (p.getTransfo() != nullptr)
            drawTransformed(below, above);
        else
            drawPlain(below, above);
    }

    static std::int64_t saturated(double value)
    {
        return std::isnan(value) ? 0 : static_cast<std::int64_t>(std::clamp(value, -2147483648.0, 2147483647.0));
    }

    static QRgb packed(const Channels& channels)
    {
        QRgb entry = 255;
        for (const float channel : channels)
            entry = entry << 8 | (static_cast<QRgb>(saturated(std::nearbyint(channel * 255.0F))) & 0xFFU);
        return entry;
    }

    static Channels colorOf(const PalNode& node) { return {node.r, node.g, node.b}; }
    std::int64_t ceilOf(const PalNode& node) const { return saturated(std::ceil(p.getValueScaled(node) - 0.0001)); }
    std::int64_t floorOf(const PalNode& node) const { return saturated(std::floor(p.getValueScaled(node) + 0.0001)); }
    QRgb& at(std::int64_t value) { return entries[static_cast<std::size_t>(value) % entries.size()]; }

    /// Calls `put` for the values of a gradient that lie in a range.
    template <typename Put>
    static void gradient(std::int64_t s, std::int64_t e, const Channels& c0, const Channels& c1, std::int64_t first,
                         std::int64_t last, Put put)
    {
        const auto n = static_cast<float>(e == s ? 1 : e - s);
        for (std::int64_t v = std::max(s, first); v <= std::min(e, last); ++v) {
            Channels c{};
            for (std::size_t k = 0; k < 3; ++k)
                c[k] = c0[k] + static_cast<float>(v - s) * ((c1[k] - c0[k]) / n);
            put(v, packed(c));
        }
    }

    void drawPlain(QRgb below, QRgb above)
    {
        for (std::int64_t v = lowest; lo > lowest && v <= std::min(lo, highest); ++v)
            at(v) = below;
        for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
            const PalNode& a = nodes[i];
            const PalNode& b = nodes[i + 1];
            const auto colorAt = [&](std::int64_t value) {
                const float t =
                    static_cast<float>(value - p.cropMin) / static_cast<float>(std::int64_t{p.cropMax} - p.cropMin);
                Channels c = colorOf(a);
                for (std::size_t k = 0; k < 3; ++k)
                    c[k] = c[k] + (t - a.value) * (colorOf(b)[k] - c[k]) / (b.value - a.value);
                return c;
            };
            gradient(ceilOf(a), floorOf(b), colorAt(ceilOf(a)), colorAt(floorOf(b)), lowest, highest,
                     [this](std::int64_t v, QRgb entry) { at(v) = entry; });
        }
        for (std::int64_t v = std::max(hi, lowest); hi != highest && v <= highest; ++v)
            at(v) = above;
    }

    void drawTransformed(QRgb below, QRgb above)
    {
        std::vector<QRgb> colors(65536, 0);
        const float f = nodes.front().value;
        const float span = nodes.back().value - f;
        const float k = span == 0 ? 0 : 65535.0F / span;
        for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
            const std::int64_t s = saturated(std::nearbyint((nodes[i].value - f) * k));
            const std::int64_t e = saturated(std::nearbyint((nodes[i + 1].value - f) * k));
            if (s != e)
                gradient(s, e, colorOf(nodes[i]), colorOf(nodes[i + 1]), 0, 65535,
                         [&](std::int64_t v, QRgb entry) { colors[static_cast<std::size_t>(v)] = entry; });
        }
        for (std::int64_t v = lowest; v < std::min(lo, highest + 1); ++v)
            at(v) = below;
        for (std::int64_t v = std::max(hi, lowest); v <= highest; ++v)
            at(v) = above;
        for (std::int64_t v = lo; v < hi; ++v) {
            const float position = static_cast<float>(v - lo) / static_cast<float>(hi - lo);
            const auto transfer = static_cast<float>(p.getTransfo()->value(position));
            at(v) = colors[static_cast<std::size_t>(std::nearbyint(transfer * 65535.0F))];
        }
    }

    ZdPalette p;
    std::int64_t lowest;
    std::int64_t highest;
    std::vector<QRgb> entries;
    std::vector<PalNode> nodes;
    std::int64_t lo;
    std::int64_t hi;
};

/// Palettes from well-behaved (0) to hostile (3).
struct RandomPalette {
    ZdPalette next()
    {
        kind = number(0, 3);
        const int crops[] = {0, -32768, 32767, 255, 1000, -100000, smallest, largest};
        ZdPalette result;
        result.cropMin = kind == 0 ? number(-40000, 0) : crops[number(0, 7)];
        result.cropMax = kind == 0 ? number(1, 40000) : crops[number(0, 7)];
        for (int nodes = number(1, 7); nodes > 0; --nodes)
            result.addColor(position(), channel(), channel(), channel());
        if (kind <= 1)
            result.checkBounds();
        result.useOutOfRangeColors = number(0, 1) == 1;
        result.belowColor = {channel(), channel(), channel()};
        result.aboveColor = {channel(), channel(), channel()};
        if (number(0, 11) == 0)
            result.setTransfo(std::make_shared<GammaTransfo>(0.25 * number(1, 12)));
        return result;
    }

    int number(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(random); }
    float fraction() { return std::uniform_real_distribution<float>(0, 1)(random); }

    float position()
    {
        const float extremes[] = {0, 1, -1, 2, 1e30F, -1e30F, infinity, -infinity, notANumber, 1e-42F};
        return kind == 3 && number(0, 2) == 0 ? extremes[number(0, 9)] : fraction() * 1.5F - 0.25F;
    }

    float channel()
    {
        const float extremes[] = {-0.5F, 1.5F, 300, 20000, -20000, 1e9F, -1e9F, infinity, -infinity, notANumber};
        return kind >= 2 && number(0, 3) == 0 ? extremes[number(0, 9)] : fraction();
    }

    std::mt19937 random{11};
    int kind = 0;
};

TEST(ColorTable, EveryPathGivesTheReference)
{
    RandomPalette palettes;
    for (int round = 0; round < 400; ++round) {
        const ZdPalette colors = palettes.next();
        const SampleRange ranges[] = {SampleRange::Signed8, SampleRange::Unsigned8, SampleRange::Signed16};
        const SampleRange range = ranges[round % 8 == 0 ? 2 : round % 2];
        const std::vector<QRgb> expected = Reference(colors, range).entries;
        const ColorTable portable = portable::buildColorTable(colors, range, {});
        ASSERT_EQ(std::vector<QRgb>(portable.begin(), portable.end()), expected) << round;
        ASSERT_EQ(table(colors, range), expected) << round;

        const int first = palettes.number(-300, 300);
        const ValueRange wanted{first, first + palettes.number(0, 200)};
        const ColorTable partial = buildColorTable(colors, range, {}, wanted);
        for (int v = std::max(wanted.lowest, lowestOf(range)); v <= std::min(wanted.highest, highestOf(range)); ++v) {
            const std::size_t index = static_cast<std::size_t>(v) % expected.size();
            ASSERT_EQ(partial[index], expected[index]) << round << ": " << v;
        }
    }
}

} // namespace
} // namespace zd::detail
