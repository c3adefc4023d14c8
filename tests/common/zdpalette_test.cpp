#include <common/ftransfobase.h>
#include <common/zdpalette.h>

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace zd {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float largest = std::numeric_limits<float>::max();

using Nodes = std::vector<PalNode>;

Nodes nodesOf(const ZdPalette& palette)
{
    return {palette.begin(), palette.end()};
}

TEST(ZdPaletteTest, CheckBoundsMendsEachFault)
{
    ZdPalette palette;
    palette.addColor(0.75F, 2, -1, 0.5F);
    palette.addColor(0.25F, 0.1F, 0.1F, 0.1F);
    palette.addColor(notANumber, 0, 0, 0);
    palette.addColor(0.5F, 0, infinity, 0);
    palette.addColor(0.25F, 0.2F, 0.2F, 0.2F);
    palette.addColor(-3, 1, 1, 1);
    palette.cropMin = INT_MAX;
    palette.cropMax = INT_MIN;
    palette.aboveColor = {notANumber, infinity, 0.5F};
    palette.belowColor = {-infinity, 1.5F, 1};
    palette.checkBounds();
    EXPECT_EQ(nodesOf(palette),
              (Nodes{{-3, 1, 1, 1}, {0.25F, 0.1F, 0.1F, 0.1F}, {0.25F, 0.2F, 0.2F, 0.2F}, {0.75F, 1, 0, 0.5F}}));
    EXPECT_EQ(std::pair(palette.cropMin, palette.cropMax), std::pair(INT_MIN, INT_MAX));
    EXPECT_EQ(palette.aboveColor, (std::array<float, 3>{0, 1, 0.5F}));
    EXPECT_EQ(palette.belowColor, (std::array<float, 3>{0, 1, 1}));
    EXPECT_TRUE(palette.assertIntegrity());
}

TEST(ZdPaletteTest, CheckBoundsKeepsTheLowestNodesOfTooMany)
{
    ZdPalette palette;
    for (int i = 100000; i > 0; --i)
        palette.addColor(static_cast<float>(i), 0, 0, 0);
    EXPECT_FALSE(palette.assertIntegrity());
    palette.checkBounds();
    EXPECT_EQ(palette.size(), ZdPalette::maximumNodes);
    EXPECT_EQ(palette.last().value, ZdPalette::maximumNodes);
}

TEST(ZdPaletteTest, AssertIntegritySeesEachFault)
{
    EXPECT_FALSE(ZdPalette().assertIntegrity()) << "no node";
    ZdPalette sound;
    sound.initSigned8();
    sound.first().value = 1;
    EXPECT_TRUE(sound.assertIntegrity());
    void (*const faults[])(ZdPalette&) = {
        [](ZdPalette& p) { p.first().value = 2; },          [](ZdPalette& p) { p.first().value = -infinity; },
        [](ZdPalette& p) { p.last().g = 1.001F; },          [](ZdPalette& p) { p.aboveColor[0] = -0.001F; },
        [](ZdPalette& p) { p.belowColor[2] = notANumber; }, [](ZdPalette& p) { p.cropMin = p.cropMax + 1; }};
    for (std::size_t i = 0; i < std::size(faults); ++i) {
        ZdPalette palette = sound;
        faults[i](palette);
        EXPECT_FALSE(palette.assertIntegrity()) << i;
    }
    EXPECT_TRUE(sound.assertIntegrity()) << "copies are independent";
}

TEST(ZdPaletteTest, ScalesPositionsToDataUnits)
{
    ZdPalette palette;
    palette.cropMin = -100;
    palette.cropMax = 300;
    EXPECT_EQ(palette.getValueScaled({0.25F, 0, 0, 0}), 0);
    EXPECT_EQ(palette.getValueScaled({-1, 0, 0, 0}), -500);
    palette.cropMin = INT_MIN;
    palette.cropMax = INT_MAX;
    EXPECT_EQ(palette.getValueScaled({0, 0, 0, 0}), -2147483648.0F);
    EXPECT_EQ(palette.getValueScaled({0.5F, 0, 0, 0}), -0.5F) << "in single precision this would be 0";
    EXPECT_EQ(palette.getValueScaled({largest, 0, 0, 0}), infinity);
    EXPECT_TRUE(std::isnan(palette.getValueScaled({notANumber, 0, 0, 0})));
}

TEST(ZdPaletteTest, AdjustsPositionsLinearly)
{
    const auto adjusted = [](const std::vector<float>& positions, float low, float high) {
        ZdPalette palette;
        for (const float position : positions)
            palette.addColor(position, 0, 0, 0);
        palette.adjustNodeValues(low, high);
        std::vector<float> result;
        for (const PalNode& node : palette)
            result.push_back(node.value);
        return result;
    };
    using Positions = std::vector<float>;
    EXPECT_EQ(adjusted({0, 0.25F, 1}, 0.5F, 0.75F), (Positions{0.5F, 0.5625F, 0.75F}));
    EXPECT_EQ(adjusted({2, 3, 6}, 1, 0), (Positions{1, 0.75F, 0}));
    EXPECT_EQ(adjusted({0, 3, 1}, 0, 0.5F), (Positions{0, 1.5F, 0.5F})) << "nodes outside are carried along";
    EXPECT_EQ(adjusted({0, 0.3F, 1}, 0.1F, 1e10F).back(), 1e10F) << "the ends are exact";
    EXPECT_EQ(adjusted({0.25F, 0.25F}, 0.5F, 1), (Positions{0.5F, 0.5F})) << "all in one place";
    EXPECT_EQ(adjusted({7}, 0.5F, 1), Positions{0.5F});
    EXPECT_EQ(adjusted({}, 0, 1), Positions{});
    EXPECT_EQ(adjusted({-largest, 0, largest}, -largest, largest), (Positions{-largest, 0, largest}));
    EXPECT_EQ(adjusted({0, largest, 1e-30F}, 0, 1), (Positions{0, infinity, 1}));
    for (const float bad : {notANumber, infinity, -infinity}) {
        EXPECT_EQ(adjusted({0, 0.25F, 1}, bad, 1), (Positions{0, 0.25F, 1}));
        EXPECT_EQ(adjusted({0, 0.25F, 1}, 0.5F, bad), (Positions{0, 0.25F, 1}));
        EXPECT_EQ(adjusted({0, 0.25F, bad}, 0.5F, 1)[1], 0.25F);
    }
}

TEST(ZdPaletteTest, GreyRampsReplaceTheWholePaletteAndResetItsNodes)
{
    ZdPalette palette;
    palette.initDefault();
    palette.setTransfo(std::make_shared<GammaTransfo>(2));
    palette.useOutOfRangeColors = true;
    palette.initSigned8();
    EXPECT_EQ(nodesOf(palette), (Nodes{{0, 0, 0, 0}, {1, 1, 1, 1}}));
    EXPECT_EQ(std::pair(palette.cropMin, palette.cropMax), std::pair(-128, 127));
    EXPECT_EQ(palette.getTransfo(), nullptr);
    EXPECT_FALSE(palette.useOutOfRangeColors);
    palette.initUnsigned8();
    EXPECT_EQ(nodesOf(palette), (Nodes{{0, 0, 0, 0}, {1, 1, 1, 1}}));
    palette.reset();
    EXPECT_EQ(palette.size(), 0);
    EXPECT_EQ(std::pair(palette.cropMin, palette.cropMax), std::pair(0, 255));
}

/// CIELAB lightness of an sRGB colour.
double lightnessOf(const PalNode& node)
{
    const auto linear = [](double c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
    const double y = 0.2126729 * linear(node.r) + 0.7151522 * linear(node.g) + 0.0721750 * linear(node.b);
    return y > 216.0 / 24389 ? 116 * std::cbrt(y) - 16 : 24389.0 / 27 * y;
}

TEST(ZdPaletteTest, DefaultPaletteGrowsEvenlyLighter)
{
    ZdPalette palette;
    palette.initDefault();
    EXPECT_TRUE(palette.assertIntegrity());
    EXPECT_EQ(std::pair(palette.cropMin, palette.cropMax), std::pair(-32768, 32767));
    ASSERT_EQ(palette.size(), 17);
    int i = 0;
    for (const PalNode& node : palette) {
        EXPECT_EQ(node.value, static_cast<float>(i) / 16);
        EXPECT_NEAR(lightnessOf(node), 6.25 * i, 0.05) << i;
        ++i;
    }
}

TEST(GammaTransfoTest, FollowsThePowerLawInsideTheUnitRange)
{
    EXPECT_DOUBLE_EQ(GammaTransfo(3).value(0.5F), 0.125);
    EXPECT_DOUBLE_EQ(GammaTransfo(0.5).value(0.25F), 0.5);
    for (const double exponent : {0.0, -2.0, std::nan(""), HUGE_VAL, -HUGE_VAL})
        EXPECT_EQ(GammaTransfo(exponent).exponent(), 1) << exponent;
    const GammaTransfo square(2);
    EXPECT_EQ(square.value(-0.5F), 0);
    EXPECT_EQ(square.value(notANumber), 0);
    EXPECT_EQ(square.value(1.5F), 1);
    EXPECT_EQ(square.value(infinity), 1);
}

} // namespace
} // namespace zd
