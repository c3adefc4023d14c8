#include <common/ftransfobase.h>
#include <common/zdpalette.h>

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <limits>
#include <memory>
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

TEST(ZdPaletteTest, ResetRemovesNodesOnlyAndCopiesAreIndependent)
{
    ZdPalette palette;
    palette.initUnsigned8();
    palette.setTransfo(std::make_shared<GammaTransfo>(2));
    ZdPalette copy = palette;
    palette.reset();
    EXPECT_EQ(palette.size(), 0);
    EXPECT_EQ(palette.cropMax, 255);
    EXPECT_EQ(palette.name, copy.name);
    palette.setTransfo(nullptr);
    EXPECT_EQ(copy.size(), 2);
    EXPECT_EQ(copy.getTransfo()->value(0.5F), 0.25);
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
    EXPECT_EQ(palette.cropMin, INT_MIN);
    EXPECT_EQ(palette.cropMax, INT_MAX);
    EXPECT_EQ(palette.aboveColor, (std::array<float, 3>{0, 1, 0.5F}));
    EXPECT_EQ(palette.belowColor, (std::array<float, 3>{0, 1, 1}));
    EXPECT_TRUE(palette.assertIntegrity());

    palette.cropMin = palette.cropMax = 5;
    palette.checkBounds();
    EXPECT_EQ(palette.cropMin, 5);
    EXPECT_EQ(palette.cropMax, 5);
}

TEST(ZdPaletteTest, CheckBoundsKeepsTheLowestNodesOfTooMany)
{
    ZdPalette palette;
    for (int i = 100000; i > 0; --i)
        palette.addColor(static_cast<float>(i), 0, 0, 0);
    EXPECT_FALSE(palette.assertIntegrity());
    palette.checkBounds();
    EXPECT_EQ(palette.size(), ZdPalette::maximumNodes);
    EXPECT_EQ(palette.first().value, 1);
    EXPECT_EQ(palette.last().value, ZdPalette::maximumNodes);
    EXPECT_TRUE(palette.assertIntegrity());
}

TEST(ZdPaletteTest, AssertIntegritySeesEachFault)
{
    EXPECT_FALSE(ZdPalette().assertIntegrity()) << "no node";
    const auto isSoundAfter = [](auto change) {
        ZdPalette palette;
        palette.initSigned8();
        change(palette);
        return palette.assertIntegrity();
    };
    EXPECT_TRUE(isSoundAfter([](ZdPalette& p) { p.first().value = 1; }));
    EXPECT_FALSE(isSoundAfter([](ZdPalette& p) { p.first().value = 2; }));
    EXPECT_FALSE(isSoundAfter([](ZdPalette& p) { p.first().value = -infinity; }));
    EXPECT_FALSE(isSoundAfter([](ZdPalette& p) { p.last().g = 1.001F; }));
    EXPECT_FALSE(isSoundAfter([](ZdPalette& p) { p.aboveColor[0] = -0.001F; }));
    EXPECT_FALSE(isSoundAfter([](ZdPalette& p) { p.belowColor[2] = notANumber; }));
    EXPECT_FALSE(isSoundAfter([](ZdPalette& p) { p.cropMin = p.cropMax + 1; }));
}

TEST(ZdPaletteTest, ScalesPositionsToDataUnits)
{
    ZdPalette palette;
    palette.cropMin = -100;
    palette.cropMax = 300;
    EXPECT_EQ(palette.getValueScaled({0, 0, 0, 0}), -100);
    EXPECT_EQ(palette.getValueScaled({0.25F, 0, 0, 0}), 0);
    EXPECT_EQ(palette.getValueScaled({-1, 0, 0, 0}), -500);
    palette.cropMin = INT_MIN;
    palette.cropMax = INT_MAX;
    EXPECT_EQ(palette.getValueScaled({0, 0, 0, 0}), -2147483648.0F);
    EXPECT_EQ(palette.getValueScaled({0.5F, 0, 0, 0}), -0.5F) << "in single precision this would be 0";
    EXPECT_EQ(palette.getValueScaled({1, 0, 0, 0}), 2147483648.0F);
    EXPECT_EQ(palette.getValueScaled({largest, 0, 0, 0}), infinity);
    EXPECT_EQ(palette.getValueScaled({-largest, 0, 0, 0}), -infinity);
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
    EXPECT_EQ(adjusted({0.25F, 0.25F}, 0.5F, 1), (Positions{0.5F, 0.5F}));
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

TEST(ZdPaletteTest, GreyRampsReplaceTheWholePalette)
{
    ZdPalette palette;
    palette.initDefault();
    palette.setTransfo(std::make_shared<GammaTransfo>(2));
    palette.useOutOfRangeColors = true;
    palette.initSigned8();
    EXPECT_EQ(nodesOf(palette), (Nodes{{0, 0, 0, 0}, {1, 1, 1, 1}}));
    EXPECT_EQ(palette.cropMin, -128);
    EXPECT_EQ(palette.cropMax, 127);
    EXPECT_EQ(palette.getTransfo(), nullptr);
    EXPECT_FALSE(palette.useOutOfRangeColors);
    palette.initUnsigned8();
    EXPECT_EQ(nodesOf(palette), (Nodes{{0, 0, 0, 0}, {1, 1, 1, 1}}));
    EXPECT_EQ(palette.cropMin, 0);
    EXPECT_EQ(palette.cropMax, 255);
}

struct LabColor {
    double lightness, a, b;
};

/// CIELAB of an sRGB colour, white point D65.
LabColor labOf(const PalNode& node)
{
    const auto linear = [](double c) { return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4); };
    const auto curve = [](double t) { return t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116; };
    const double r = linear(node.r), g = linear(node.g), b = linear(node.b);
    const double x = curve((0.4124564 * r + 0.3575761 * g + 0.1804375 * b) / 0.95047);
    const double y = curve(0.2126729 * r + 0.7151522 * g + 0.0721750 * b);
    const double z = curve((0.0193339 * r + 0.1191920 * g + 0.9503041 * b) / 1.08883);
    return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

TEST(ZdPaletteTest, DefaultPaletteIsPerceptuallyUniform)
{
    ZdPalette palette;
    palette.initDefault();
    EXPECT_TRUE(palette.assertIntegrity());
    EXPECT_EQ(palette.cropMin, -32768);
    EXPECT_EQ(palette.cropMax, 32767);
    ASSERT_EQ(palette.size(), 17);
    EXPECT_EQ(palette.first(), (PalNode{0, 0, 0, 0}));
    EXPECT_EQ(palette.last(), (PalNode{1, 1, 1, 1}));

    const Nodes nodes = nodesOf(palette);
    for (std::size_t i = 1; i < nodes.size(); ++i) {
        EXPECT_EQ(nodes[i].value, static_cast<float>(i) / 16);
        const LabColor from = labOf(nodes[i - 1]), to = labOf(nodes[i]);
        EXPECT_NEAR(to.lightness - from.lightness, 6.25, 0.05) << i;
        EXPECT_NEAR(std::hypot(to.lightness - from.lightness, to.a - from.a, to.b - from.b), 13.27, 0.1) << i;
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
