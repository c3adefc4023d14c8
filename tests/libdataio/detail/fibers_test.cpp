#include <libdataio/detail/avx2_p.h>
#include <libdataio/detail/fiberfilter_p.h>
#include <libdataio/detail/fibergeometry_p.h>

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace zd::detail {
namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

std::vector<float> inBundle(const std::vector<float>& fractions, FiberFrame frame, const BundleBox& box,
                            const std::optional<SinusDistortion>& distortion = std::nullopt)
{
    std::vector<float> out{1, 2, 3};
    fibersInBundle(fractions.data(), fractions.size() / 2, frame, box, distortion, out);
    return out;
}

TEST(FiberFilter, RawColumnsAreTestedWithoutTheirDistortion)
{
    const FiberFrame frame{1001, 11};
    const SinusDistortion distortion{-1.2F, 1.2F};
    const std::vector<float> quarter{250.0F / 1001, 5.0F / 11};
    const std::vector<float> middle{500.0F / 1001, 5.0F / 11};
    const auto around = [](float column) { return BundleBox{column - 1, 0, column + 1, 10}; };
    const std::vector<float> kept = inBundle(quarter, frame, {195, 0, 197.15F, 10}, distortion); // S(0.25) = 0.1971
    ASSERT_EQ(kept.size(), 2U);
    EXPECT_NEAR(kept[0], 250, 1e-4); // as stored
    EXPECT_TRUE(inBundle(quarter, frame, around(250), distortion).empty());
    EXPECT_TRUE(inBundle(quarter, frame, around(197)).empty());
    EXPECT_EQ(inBundle(middle, frame, around(500), distortion).size(), 2U);
    // The corrected position counts, not only its pixel: 197.09 lies outside this ellipse, 197 inside.
    EXPECT_TRUE(inBundle(quarter, frame, {195, 0, 197.06F, 10}, distortion).empty());

    const SinusDistortion none{0.5F, 0.5F};
    EXPECT_TRUE(inBundle(middle, frame, around(500), none).empty());
    EXPECT_TRUE(inBundle({0, 0.5F}, {1, 11}, {-5, 0, 5, 10}, distortion).empty());
}

/// The filter told step by step, with the C library's rounding.
std::vector<float> reference(const std::vector<float>& fractions, FiberFrame frame, const BundleBox* box)
{
    std::vector<float> out;
    for (std::size_t i = 0; i + 1 < fractions.size(); i += 2) {
        const auto px = static_cast<float>(static_cast<double>(fractions[i]) * frame.width);
        const auto py = static_cast<float>(static_cast<double>(fractions[i + 1]) * frame.height);
        if (!(px >= 0 && px <= frame.width - 1.0 && py >= 0 && py <= frame.height - 1.0))
            continue;
        if (box != nullptr) {
            const double dx = box->maxX - box->minX;
            const double dy = box->maxY - box->minY;
            const double cx = (box->minX + box->maxX) * 0.5;
            const double cy = (box->minY + box->maxY) * 0.5;
            const auto outside = [&](double x, double y) {
                const double r = (x - cx) * (x - cx) / (0.25 * dx * dx) + (y - cy) * (y - cy) / (0.25 * dy * dy);
                return !(r <= 1);
            };
            if (outside(px, py) || outside(std::nearbyint(px), std::nearbyint(py)))
                continue;
        }
        out.insert(out.end(), {px, py});
    }
    return out;
}

/// Fibres everywhere, many of them on pixels or along the outline of a box, within the last places of their values.
std::vector<float> fibersAround(const BundleBox& box, FiberFrame frame, std::mt19937& random)
{
    std::uniform_real_distribution<float> fraction(-0.02F, 1.02F);
    const std::size_t fibers = 4000 + random() % 8;
    std::vector<float> fractions;
    for (std::size_t i = 0; i < fibers; ++i) {
        float x = fraction(random);
        float y = fraction(random);
        if (i % 3 == 0) {
            x = std::nearbyint(x * 512) / 512;
            y = std::nearbyint(y * 512) / 512;
        } else if (i % 3 == 1) {
            const double angle = 0.01 * static_cast<double>(i);
            x = static_cast<float>(((box.minX + box.maxX) / 2 + (box.maxX - box.minX) / 2 * std::cos(angle)) /
                                   frame.width);
            y = static_cast<float>(((box.minY + box.maxY) / 2 + (box.maxY - box.minY) / 2 * std::sin(angle)) /
                                   frame.height);
        }
        fractions.insert(fractions.end(), {i % 50 == 0 ? notANumber : x, i % 70 == 0 ? notANumber : y});
    }
    return fractions;
}

TEST(FiberFilter, EveryPathGivesTheReference)
{
    std::mt19937 random(20);
    const float huge = std::numeric_limits<float>::max();
    const BundleBox boxes[] = {{20, 30, 500, 540},          {0, 0, 512, 512},
                               {10, 20, 490, 500},          {100, 100, 100.001F, 400},
                               {1e-20F, 0, 3e-20F, 1e-20F}, {5e8F, 5e8F, 5e8F + 64, 6e8F},
                               {-huge, -huge, huge, huge},  {-infinity, 0, infinity, 10},
                               {300, 300, 200, 100},        {256, 0, 256, 512},
                               {0, 256, 512, 256},          {notANumber, 0, 10, 10}};
    const FiberFrame frames[] = {{512, 512}, {577, 33}, {1, 1},
                                 {0, 8},     {16, -8},  {std::numeric_limits<int>::max(), 640}};
    for (const BundleBox& box : boxes) {
        for (const FiberFrame frame : frames) {
            const std::vector<float> fractions = fibersAround(box, frame, random);
            const auto expectReference = [&](auto inFrame, auto inBox) {
                std::vector<float> out;
                inFrame(fractions.data(), fractions.size() / 2, frame, out);
                EXPECT_EQ(out, reference(fractions, frame, nullptr));
                inBox(fractions.data(), fractions.size() / 2, frame, box, out);
                EXPECT_EQ(out, reference(fractions, frame, &box));
            };
            SCOPED_TRACE(testing::Message() << box.maxX << ", " << frame.width);
            expectReference(portable::fibersInFrame, portable::fibersInBundle);
            if (avx2::available())
                expectReference(avx2::fibersInFrame, avx2::fibersInBundle);
        }
    }
}

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
