#include <common/ftransfobase.h>
#include <common/zdpalette.h>
#include <libdataio/detail/colortable_p.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace zd::detail {
namespace {

using Channels = std::array<float, 3>;

constexpr QRgb black = 0xFF000000U;
constexpr QRgb white = 0xFFFFFFFFU;
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

TEST(ColorTable, RampsCoverEachRange)
{
    const ZdPalette ramp = palette(0, 255, {{0, 0}, {1, 1}});
    const std::vector<QRgb> bytes = table(ramp, SampleRange::Unsigned8);
    ASSERT_EQ(bytes.size(), 256U);
    for (unsigned int v = 0; v < 256; ++v)
        EXPECT_EQ(bytes[v], grey(v)) << v;

    // Values below zero lie behind the others; the gradient runs on across the seam. Halves round to even.
    const ZdPalette across = palette(-2, 2, {{0, 0}, {1, 1}});
    for (const SampleRange range : {SampleRange::Signed8, SampleRange::Signed16}) {
        const std::vector<QRgb> entries = table(across, range);
        const std::size_t size = entries.size();
        ASSERT_EQ(size, range == SampleRange::Signed8 ? 256U : 65536U);
        EXPECT_EQ(entries[size - 2], grey(0));
        EXPECT_EQ(entries[size - 1], grey(64));
        EXPECT_EQ(entries[0], grey(128));
        EXPECT_EQ(entries[1], grey(191));
        EXPECT_EQ(entries[2], grey(255));
        EXPECT_EQ(entries[size / 2], grey(0));       // the lowest value
        EXPECT_EQ(entries[size / 2 - 1], grey(255)); // the highest
    }
}

TEST(ColorTable, MarksAreOpaqueBlack)
{
    const ZdPalette plain = palette(0, 100, {{0, 1}, {1, 1}});
    const auto blackEntries = [&](SampleRange range, const ColorTableMarks& marks) {
        const std::vector<QRgb> entries = table(plain, range, marks);
        std::vector<std::size_t> indexes;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (entries[i] == black)
                indexes.push_back(i);
            else
                EXPECT_EQ(entries[i], white) << i;
        }
        return indexes;
    };
    using Indexes = std::vector<std::size_t>;
    EXPECT_EQ(blackEntries(SampleRange::Unsigned8, {}), Indexes{});
    EXPECT_EQ(blackEntries(SampleRange::Unsigned8, {true, {}}), Indexes{0});
    EXPECT_EQ(blackEntries(SampleRange::Signed8, {true, {}}), Indexes{0x80});
    EXPECT_EQ(blackEntries(SampleRange::Signed16, {true, {}}), Indexes{0x8000});
    EXPECT_EQ(blackEntries(SampleRange::Signed16, {false, -32768}), Indexes{0x8000});
    EXPECT_EQ(blackEntries(SampleRange::Signed16, {false, 4095}), Indexes{4095});
    EXPECT_EQ(blackEntries(SampleRange::Signed16, {true, 65536 * 3 - 1}), (Indexes{0x8000, 0xFFFF}));
    EXPECT_EQ(blackEntries(SampleRange::Signed16, {false, std::numeric_limits<int>::min()}), Indexes{0});
}

TEST(ColorTable, OutOfRangeColorsSurroundTheNodes)
{
    ZdPalette colors = palette(10, 20, {{0, 0.2F}, {1, 0.8F}});
    std::vector<QRgb> entries = table(colors, SampleRange::Unsigned8);
    EXPECT_EQ(entries[0], grey(51));
    EXPECT_EQ(entries[10], grey(51));
    EXPECT_EQ(entries[15], grey(128));
    EXPECT_EQ(entries[20], grey(204));
    EXPECT_EQ(entries[255], grey(204));

    colors.useOutOfRangeColors = true;
    colors.belowColor = {0, 0, 1};
    colors.aboveColor = {1, 0, 0};
    entries = table(colors, SampleRange::Unsigned8);
    EXPECT_EQ(entries[0], 0xFF0000FFU);
    EXPECT_EQ(entries[9], 0xFF0000FFU);
    EXPECT_EQ(entries[10], grey(51));
    EXPECT_EQ(entries[19], grey(189));
    EXPECT_EQ(entries[20], 0xFFFF0000U); // the above colour begins at the last node
    EXPECT_EQ(entries[255], 0xFFFF0000U);
}

TEST(ColorTable, CropRangesBeyondTheSamplesAreLimited)
{
    // A palette made for 16-bit data on 8-bit data, and crop ranges far away on either side.
    EXPECT_EQ(table(palette(1000, 2000, {{0, 1}, {1, 0}}), SampleRange::Unsigned8), std::vector<QRgb>(256, white));
    EXPECT_EQ(table(palette(std::numeric_limits<int>::max(), std::numeric_limits<int>::max(), {{0, 1}, {1, 0}}),
                    SampleRange::Signed16),
              std::vector<QRgb>(65536, white));
    EXPECT_EQ(table(palette(-3000, -2000, {{0, 0}, {1, 1}}), SampleRange::Signed8), std::vector<QRgb>(256, white));

    // A crop range over all integers shrinks to the range of the samples, and its nodes with it.
    const std::vector<QRgb> whole =
        table(palette(std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), {{0, 0}, {1, 1}}),
              SampleRange::Unsigned8);
    for (unsigned int v = 0; v < 256; ++v)
        EXPECT_EQ(whole[v], grey(v)) << v;

    // No width: the below colour up to the value, the above colour from it on.
    const std::vector<QRgb> step = table(palette(7, 7, {{0, 0}, {1, 1}}), SampleRange::Unsigned8);
    EXPECT_EQ(step[6], black);
    EXPECT_EQ(step[7], white);
    EXPECT_EQ(step[255], white);
}

TEST(ColorTable, TransferFunctionsBendTheGradient)
{
    ZdPalette colors = palette(0, 4, {{0, 0}, {1, 1}});
    colors.setTransfo(std::make_shared<GammaTransfo>(2.0));
    colors.useOutOfRangeColors = true;
    colors.belowColor = {0, 0, 1};
    colors.aboveColor = {1, 0, 0};
    const std::vector<QRgb> entries = table(colors, SampleRange::Signed16);
    EXPECT_EQ(entries[0xFFFF], 0xFF0000FFU);
    EXPECT_EQ(entries[0], grey(0));
    EXPECT_EQ(entries[1], grey(16));  // 255 / 16
    EXPECT_EQ(entries[2], grey(64));  // 255 / 4
    EXPECT_EQ(entries[3], grey(143)); // 255 x 9 / 16
    EXPECT_EQ(entries[4], 0xFFFF0000U);
    EXPECT_EQ(entries[0x7FFF], 0xFFFF0000U);
    EXPECT_EQ(entries[0x8000], 0xFF0000FFU);
}

TEST(ColorTable, TransferFunctionsOutsideTheirContractAreLimited)
{
    struct Wild final : FTransfoBase {
        double value(float position) const override
        {
            const double values[] = {-5, 1e300, std::nan(""), -std::numeric_limits<double>::infinity()};
            return values[static_cast<std::size_t>(position * 4)];
        }
    };
    ZdPalette colors = palette(0, 4, {{0, 0.2F}, {1, 1}});
    colors.setTransfo(std::make_shared<Wild>());
    const std::vector<QRgb> entries = table(colors, SampleRange::Unsigned8);
    EXPECT_EQ(std::vector<QRgb>(entries.begin(), entries.begin() + 4),
              (std::vector<QRgb>{grey(51), white, grey(51), grey(51)}));
    // Nodes in one place span no gradient.
    ZdPalette single = palette(0, 4, {{0.5F, 1}, {0.5F, 1}});
    single.setTransfo(std::make_shared<GammaTransfo>(1.0));
    EXPECT_EQ(table(single, SampleRange::Unsigned8), std::vector<QRgb>(256, white));
}

TEST(ColorTable, ValuesWithoutAColorAreDefined)
{
    EXPECT_EQ(buildColorTable(ZdPalette(), SampleRange::Signed16, {true, 0}).size(), 0U);
    EXPECT_EQ(table(palette(5, 5, {{notANumber, 1}}), SampleRange::Unsigned8), std::vector<QRgb>(256, white));

    // Both ends of the crop range move to the samples'; the nodes then lie at -102.5, -77, 101.5 and 76.
    const std::vector<QRgb> gaps =
        table(palette(-1000, 1000, {{0.1F, 1}, {0.2F, 1}, {0.9F, 1}, {0.8F, 1}}), SampleRange::Signed8);
    for (int v = -128; v < 128; ++v)
        EXPECT_EQ(gaps[static_cast<std::size_t>(v) % 256], v >= -102 && v <= 101 ? white : 0) << v;
}

TEST(ColorTable, FillsAreCapped)
{
    // Each even pair of nodes fills all entries; the red of the pairs rises, and from the 257th on they are blue.
    ZdPalette colors;
    colors.cropMin = -32768;
    colors.cropMax = 32767;
    for (int pair = 0; pair < 20000; ++pair) {
        const float red = pair < 256 ? static_cast<float>(pair) / 255 : 0;
        const float blue = pair < 256 ? 0 : 1;
        colors.addColor(0, red, 0, blue);
        colors.addColor(1, red, 0, blue);
    }
    EXPECT_EQ(table(colors, SampleRange::Signed16), std::vector<QRgb>(65536, 0xFFFF0000U));
}

// The building of a table told step by step, one entry at a time.

std::int64_t saturated(double value)
{
    if (std::isnan(value))
        return 0;
    return static_cast<std::int64_t>(std::fmax(-2147483648.0, std::fmin(2147483647.0, value)));
}

QRgb referencePacked(const Channels& channels)
{
    QRgb entry = 255;
    for (const float channel : channels) {
        const float product = channel * 255.0F;
        entry = entry << 8 | (static_cast<QRgb>(saturated(std::nearbyint(product))) & 0xFFU);
    }
    return entry;
}

struct Reference {
    explicit Reference(SampleRange range)
        : lowest(range == SampleRange::Signed8     ? -128
                 : range == SampleRange::Unsigned8 ? 0
                                                   : -32768),
          highest(lowest + (range == SampleRange::Signed16 ? 65535 : 255)),
          entries(static_cast<std::size_t>(highest - lowest + 1), 0)
    {
    }

    void set(std::int64_t value, QRgb entry) { entries[static_cast<std::size_t>(value) % entries.size()] = entry; }

    static void gradient(std::int64_t s, std::int64_t e, const Channels& c0, const Channels& c1, std::int64_t min,
                         std::int64_t max, const std::function<void(std::int64_t, QRgb)>& put)
    {
        const std::int64_t n = e == s ? 1 : e - s;
        for (std::int64_t v = std::max(s, min); v <= std::min(e, max); ++v) {
            Channels c{};
            for (std::size_t k = 0; k < 3; ++k) {
                const float d = (c1[k] - c0[k]) / static_cast<float>(n);
                const float distance = static_cast<float>(v - s) * d;
                c[k] = c0[k] + distance;
            }
            put(v, referencePacked(c));
        }
    }

    void build(ZdPalette p)
    {
        std::int64_t lo = saturated(std::ceil(p.getValueScaled(p.first()) - 0.0001));
        std::int64_t hi = saturated(std::ceil(p.getValueScaled(p.last()) - 0.0001));
        if (lo < lowest) {
            lo = lowest;
            p.cropMin = static_cast<int>(lowest);
        }
        if (hi > highest) {
            hi = highest;
            p.cropMax = static_cast<int>(highest);
        }
        const Channels firstColor{p.first().r, p.first().g, p.first().b};
        const Channels lastColor{p.last().r, p.last().g, p.last().b};
        const QRgb below = referencePacked(p.useOutOfRangeColors ? p.belowColor : firstColor);
        const QRgb above = referencePacked(p.useOutOfRangeColors ? p.aboveColor : lastColor);
        if (p.getTransfo() != nullptr)
            buildTransformed(p, lo, hi, below, above);
        else
            buildPlain(p, lo, hi, below, above);
    }

    void buildPlain(const ZdPalette& p, std::int64_t lo, std::int64_t hi, QRgb below, QRgb above)
    {
        for (std::int64_t v = lowest; lo > lowest && v <= std::min(lo, highest); ++v)
            set(v, below);
        const std::vector<PalNode> nodes(p.begin(), p.end());
        for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
            const PalNode& a = nodes[i];
            const PalNode& b = nodes[i + 1];
            const std::int64_t s = saturated(std::ceil(p.getValueScaled(a) - 0.0001));
            const std::int64_t e = saturated(std::floor(p.getValueScaled(b) + 0.0001));
            if (s > e)
                continue;
            const auto colorAt = [&](std::int64_t value) {
                const float t = static_cast<float>(value - p.cropMin) /
                                static_cast<float>(std::int64_t{p.cropMax} - std::int64_t{p.cropMin});
                return Channels{a.r + (t - a.value) * (b.r - a.r) / (b.value - a.value),
                                a.g + (t - a.value) * (b.g - a.g) / (b.value - a.value),
                                a.b + (t - a.value) * (b.b - a.b) / (b.value - a.value)};
            };
            gradient(s, e, colorAt(s), colorAt(e), lowest, highest,
                     [this](std::int64_t v, QRgb entry) { set(v, entry); });
        }
        for (std::int64_t v = std::max(hi, lowest); hi != highest && v <= highest; ++v)
            set(v, above);
    }

    void buildTransformed(const ZdPalette& p, std::int64_t lo, std::int64_t hi, QRgb below, QRgb above)
    {
        std::vector<QRgb> colors(65536, 0);
        const std::vector<PalNode> nodes(p.begin(), p.end());
        const float f = nodes.front().value;
        const float span = nodes.back().value - f;
        const float k = span == 0 ? 0 : 65535.0F / span;
        for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
            const std::int64_t s = saturated(std::nearbyint((nodes[i].value - f) * k));
            const std::int64_t e = saturated(std::nearbyint((nodes[i + 1].value - f) * k));
            if (s != e)
                gradient(s, e, {nodes[i].r, nodes[i].g, nodes[i].b}, {nodes[i + 1].r, nodes[i + 1].g, nodes[i + 1].b},
                         0, 65535, [&](std::int64_t v, QRgb entry) { colors[static_cast<std::size_t>(v)] = entry; });
        }
        for (std::int64_t v = lowest; v <= std::min(lo - 1, highest); ++v)
            set(v, below);
        for (std::int64_t v = std::max(hi, lowest); v <= highest; ++v)
            set(v, above);
        for (std::int64_t v = lo; v < hi; ++v) {
            const auto transfer =
                static_cast<float>(p.getTransfo()->value(static_cast<float>(v - lo) / static_cast<float>(hi - lo)));
            const std::int64_t index = saturated(std::nearbyint(transfer * 65535.0F));
            set(v, colors[static_cast<std::size_t>(std::min<std::int64_t>(std::max<std::int64_t>(index, 0), 65535))]);
        }
    }

    std::int64_t lowest;
    std::int64_t highest;
    std::vector<QRgb> entries;
};

/// Palettes from well-behaved to hostile.
class RandomPalette {
public:
    ZdPalette next()
    {
        ZdPalette result;
        const int kind = number(0, 3);
        const int crops[] = {
            0, -32768, 32767, 255, 1000, -100000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
        result.cropMin = kind == 0 ? number(-40000, 0) : crops[number(0, 7)];
        result.cropMax = kind == 0 ? number(1, 40000) : crops[number(0, 7)];
        for (int nodes = number(1, 7); nodes > 0; --nodes)
            result.addColor(position(kind), channel(kind), channel(kind), channel(kind));
        if (kind <= 1)
            result.checkBounds();
        result.useOutOfRangeColors = number(0, 1) == 1;
        result.belowColor = {channel(kind), channel(kind), channel(kind)};
        result.aboveColor = {channel(kind), channel(kind), channel(kind)};
        if (number(0, 11) == 0)
            result.setTransfo(std::make_shared<GammaTransfo>(0.25 * number(1, 12)));
        return result;
    }

private:
    int number(int lowest, int highest) { return std::uniform_int_distribution<int>(lowest, highest)(m_random); }
    float fraction() { return std::uniform_real_distribution<float>(0, 1)(m_random); }

    float position(int kind)
    {
        const float extremes[] = {0, 1, -1, 2, 1e30F, -1e30F, infinity, -infinity, notANumber, 1e-42F};
        return kind == 3 && number(0, 2) == 0 ? extremes[number(0, 9)] : fraction() * 1.5F - 0.25F;
    }

    float channel(int kind)
    {
        const float extremes[] = {-0.5F, 1.5F, 300, 20000, -20000, 1e9F, -1e9F, infinity, -infinity, notANumber};
        return kind >= 2 && number(0, 3) == 0 ? extremes[number(0, 9)] : fraction();
    }

    std::mt19937 m_random{11};
};

void expectReference(const ZdPalette& colors, SampleRange range)
{
    Reference reference(range);
    reference.build(colors);
    const ColorTable portable = portable::buildColorTable(colors, range, {});
    ASSERT_EQ(std::vector<QRgb>(portable.begin(), portable.end()), reference.entries);
    ASSERT_EQ(table(colors, range), reference.entries);
}

TEST(ColorTable, EveryPathGivesTheReference)
{
    RandomPalette palettes;
    for (int round = 0; round < 200; ++round) {
        const ZdPalette colors = palettes.next();
        SCOPED_TRACE(round);
        expectReference(colors, SampleRange::Signed8);
        expectReference(colors, SampleRange::Unsigned8);
        if (round % 10 == 0)
            expectReference(colors, SampleRange::Signed16);
    }
}

} // namespace
} // namespace zd::detail
