#include <common/ftransfobase.h>
#include <common/zdpalette.h>
#include <libdataio/detail/colortable_p.h>

#include <gtest/gtest.h>

#include <QCryptographicHash>

#include <algorithm>
#include <array>
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

/// Palettes from well-behaved (0) to hostile (3).
struct RandomPalette {
    ZdPalette next()
    {
        kind = number(0, 3);
        const int crops[] = {0, -32768, 32767, 255, 1000, -100000, smallest, largest};
        ZdPalette result;
        result.cropMin = kind == 0 ? number(-40000, 0) : crops[number(0, 7)];
        result.cropMax = kind == 0 ? number(1, 40000) : crops[number(0, 7)];
        for (int nodes = number(1, 7); nodes > 0; --nodes) {
            const PalNode node{position(), channel(), channel(), channel()}; // in this order
            result.addColor(node.value, node.r, node.g, node.b);
        }
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

TEST(ColorTable, DrawsGradientsBetweenNodes)
{
    ZdPalette colors;
    colors.cropMin = 10;
    colors.cropMax = 20;
    colors.addColor(0, 1, 0, 0);
    colors.addColor(0.5F, 0, 1, 0);
    colors.addColor(1, 0, 0, 1);
    const auto drawn = [&colors] {
        const ColorTable entries = buildColorTable(colors, SampleRange::Unsigned8, {});
        std::vector<QRgb> some;
        for (const unsigned int value : {0U, 9U, 10U, 12U, 15U, 19U, 20U, 255U})
            some.push_back(entries[value] & 0xFFFFFFU);
        return some;
    };
    using Some = std::vector<QRgb>;
    EXPECT_EQ(drawn(), (Some{0xFF0000, 0xFF0000, 0xFF0000, 0x996600, 0x00FF00, 0x0033CC, 0x0000FF, 0x0000FF}));
    colors.useOutOfRangeColors = true;
    colors.belowColor = {0, 0, 0};
    colors.aboveColor = {1, 1, 1};
    EXPECT_EQ(drawn(), (Some{0, 0, 0xFF0000, 0x996600, 0x00FF00, 0x0033CC, 0xFFFFFF, 0xFFFFFF}));
    colors.setTransfo(std::make_shared<GammaTransfo>(2));
    EXPECT_EQ(drawn(), (Some{0, 0, 0xFF0000, 0xEB1400, 0x808000, 0x00619E, 0xFFFFFF, 0xFFFFFF}));
}

/// The tables of many palettes in short. They were as a build-up entry by entry, without any short cut, makes them.
TEST(ColorTable, EveryPathGivesTheSame)
{
    RandomPalette palettes;
    std::array<QByteArray, 4> digests; // by kind of palette
    for (int round = 0; round < 400; ++round) {
        const ZdPalette colors = palettes.next();
        const SampleRange ranges[] = {SampleRange::Signed8, SampleRange::Unsigned8, SampleRange::Signed16};
        const SampleRange range = ranges[round % 8 == 0 ? 2 : round % 2];
        const ColorTable portable = portable::buildColorTable(colors, range, {});
        const std::vector<QRgb> expected(portable.begin(), portable.end());
        QByteArray& digest = digests[static_cast<std::size_t>(palettes.kind)];
        digest.append(reinterpret_cast<const char*>(expected.data()), static_cast<qsizetype>(4 * expected.size()));
        digest = QCryptographicHash::hash(digest, QCryptographicHash::Md5);
        ASSERT_EQ(table(colors, range), expected) << round;

        const int first = palettes.number(-300, 300);
        const ValueRange wanted{first, first + palettes.number(0, 200)};
        const ColorTable partial = buildColorTable(colors, range, {}, wanted);
        for (int v = std::max(wanted.lowest, lowestOf(range)); v <= std::min(wanted.highest, highestOf(range)); ++v) {
            const std::size_t index = static_cast<std::size_t>(v) % expected.size();
            ASSERT_EQ(partial[index], expected[index]) << round << ": " << v;
        }
    }
    const char* const known[] = {"0874a4e646bde94aab1e7e21d6b9c51a", "e0a74bb2aa00996df8618a47b48de4ca",
                                 "e7317c9f5f2d05fcc66e6e07fc26203f", "950de43f4a72348fa6c598fea8f084f0"};
    for (std::size_t kind = 0; kind < 4; ++kind)
        EXPECT_EQ(digests[kind].toHex().toStdString(), known[kind]) << kind;
}

} // namespace
} // namespace zd::detail
