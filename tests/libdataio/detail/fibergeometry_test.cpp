#include <libdataio/detail/fibergeometry_p.h>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace zd::detail {
namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

TEST(FiberGeometry, PositionsAreFractionsOfTheFrame)
{
    const std::vector<float> fractions{0.5F, 1.0F, 0.0F, 0.25F};
    std::vector<float> out{7, 7, 7, 7, 7, 7};
    fiberPositions(fractions.data(), 2, {100, 50}, out);
    EXPECT_EQ(out, (std::vector<float>{50, 50, 0, 12.5F}));
    fiberPositions(nullptr, 0, {100, 50}, out);
    EXPECT_TRUE(out.empty());

    // The product is taken in double precision.
    std::mt19937 random(1);
    for (int i = 0; i < 1000; ++i) {
        const auto pair = std::array{static_cast<float>(random()) / 4294967295.0F,
                                     std::bit_cast<float>(static_cast<std::uint32_t>(random()) >> 2)};
        const FiberFrame frame{static_cast<int>(random() >> (1 + random() % 31)),
                               -static_cast<int>(random() % 20'000'000)};
        fiberPositions(pair.data(), 1, frame, out);
        EXPECT_EQ(out[0], static_cast<float>(pair[0] * static_cast<double>(frame.width)));
        EXPECT_EQ(out[1], static_cast<float>(pair[1] * static_cast<double>(frame.height)));
    }
}

TEST(FiberGeometry, ClampingMovesFibersIntoTheFrame)
{
    const std::vector<float> fractions{0.5F, 1.0F, 0.0F, 0.985F, 1.0F, notANumber};
    std::vector<float> out;
    clampedFiberPositions(fractions.data(), 3, {100, 50}, out);
    EXPECT_EQ(out, (std::vector<float>{50, 49, 0, 49, 99, 0}));
    for (const FiberFrame frame :
         {FiberFrame{1, 1}, FiberFrame{0, 0}, FiberFrame{-5, std::numeric_limits<int>::min()}}) {
        clampedFiberPositions(fractions.data(), 3, frame, out);
        EXPECT_EQ(out, std::vector<float>(6, 0.0F)) << frame.width;
    }
}

TEST(FiberGeometry, RasterIndexesRoundTiesToEvenAndKeepTheLowBits)
{
    const std::vector<float> ordinary{2.5F, 3.5F, 2.4F, 2.6F, 0.5F, -0.5F, -1.5F, -2.0F, 8388607.5F, 16777216.0F};
    const std::vector<unsigned int> expected{2, 4, 2, 3, 0, 0, 0xFFFFFFFEU, 0xFFFFFFFEU, 8388608, 16777216};
    std::vector<unsigned int> out{1};
    toRasterIndexes(ordinary, out);
    EXPECT_EQ(out, expected);

    const std::vector<float> extreme{2147483648.0F, 4294967296.0F, 4294967808.0F, -2147483648.0F, 0x1p62F,
                                     0x1p63F,       -1e30F,        notANumber,    infinity,       -infinity};
    const std::vector<unsigned int> expectedExtreme{0x80000000U, 0, 512, 0x80000000U, 0, 0, 0, 0, 0, 0};
    toRasterIndexes(extreme, out);
    EXPECT_EQ(out, expectedExtreme);

    // An extreme value among many ordinary ones changes nothing for those.
    std::vector<float> many(1000, 3.5F);
    many[700] = 4294967808.0F;
    std::vector<unsigned int> expectedMany(1000, 4);
    expectedMany[700] = 512;
    toRasterIndexes(many, out);
    EXPECT_EQ(out, expectedMany);
}

TEST(FiberGeometry, OffsetsCountPixelsRowByRow)
{
    std::vector<unsigned int> indexes{3, 2, 0, 0, 99, 49};
    toOffsets(indexes, 100);
    EXPECT_EQ(indexes, (std::vector<unsigned int>{203, 0, 4999}));
    std::vector<unsigned int> wrapping{1, 2, 5, 0x80000000U};
    toOffsets(wrapping, -2);
    EXPECT_EQ(wrapping, (std::vector<unsigned int>{0xFFFFFFFDU, 5}));
}

TEST(FiberGeometry, WorldCentersSpanTheLongerSide)
{
    std::vector<float> wide{0, 0, 99, 49};
    toWorldCenters(wide, {100, 50});
    EXPECT_EQ(wide, (std::vector<float>{0.005F, 0.495F, 0.995F, 0.005F}));
    std::vector<float> high{49, 99};
    toWorldCenters(high, {50, 100});
    EXPECT_EQ(high, (std::vector<float>{0.495F, 0.005F}));
    std::vector<float> none{1, 1};
    toWorldCenters(none, {0, 0});
    EXPECT_EQ(none, (std::vector<float>{infinity, -infinity}));
}

} // namespace
} // namespace zd::detail
