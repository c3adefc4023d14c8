#include <libdataio/detail/avx2_p.h>
#include <libdataio/detail/fiberfilter_p.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace zd::detail {
namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

/// Fractions that give whole positions: with a side of a power of two they are exact.
std::vector<float> fractionsOf(const std::vector<float>& positions, float side)
{
    std::vector<float> fractions;
    for (const float position : positions)
        fractions.push_back(position / side);
    return fractions;
}

std::vector<float> inBundle(const std::vector<float>& fractions, FiberFrame frame, const BundleBox& box,
                            const std::optional<SinusDistortion>& distortion = std::nullopt)
{
    std::vector<float> out{1, 2, 3};
    fibersInBundle(fractions.data(), fractions.size() / 2, frame, box, distortion, out);
    return out;
}

TEST(FiberFilter, FrameFilterKeepsWhatLiesOnPixels)
{
    const std::vector<float> positions{0, 0, 15, 7, 15.5F, 7, 15, 7.5F, -0.5F, 3, 3, notANumber, 4, 5};
    std::vector<float> out;
    fibersInFrame(fractionsOf(positions, 16).data(), 7, {16, 8}, out);
    EXPECT_EQ(out, (std::vector<float>{0, 0, 15, 3.5F, 15, 3.75F, 4, 2.5F}));
    for (const FiberFrame frame : {FiberFrame{0, 8}, FiberFrame{16, -8}}) {
        fibersInFrame(fractionsOf({1, 1}, 16).data(), 1, frame, out);
        EXPECT_TRUE(out.empty());
    }
}

TEST(FiberFilter, BundleFilterTestsPositionAndPixel)
{
    const FiberFrame frame{128, 64};
    const auto at = [](float column, float row) { return std::vector<float>{column / 128, row / 64}; };
    const BundleBox box{0, 0, 99, 49};
    EXPECT_EQ(inBundle(at(49.5F, 24.5F), frame, box), (std::vector<float>{49.5F, 24.5F}));
    EXPECT_TRUE(inBundle(at(99, 49), frame, box).empty()); // distance 2
    // The pixel of a position inside may lie outside, and that of a position outside inside.
    EXPECT_EQ(inBundle(at(98, 24.5F), frame, box), (std::vector<float>{98, 24.5F}));
    EXPECT_TRUE(inBundle(at(64.75F, 5), frame, {55, 0, 64.9F, 10}).empty());
    EXPECT_TRUE(inBundle(at(65.25F, 5), frame, {55, 0, 65.125F, 10}).empty());
    // On the outline is inside; the ellipse ends at the frame.
    const std::vector<float> outline{8, 9, 9, 8, 10, 5, 5, 10, 2, 1, 10, 6};
    EXPECT_EQ(inBundle(fractionsOf(outline, 16), {16, 16}, {0, 0, 10, 10}),
              (std::vector<float>{8, 9, 9, 8, 10, 5, 5, 10, 2, 1}));
    EXPECT_EQ(inBundle(fractionsOf({7, 5, 8, 5}, 8), {8, 8}, {0, 0, 10, 10}), (std::vector<float>{7, 5}));
}

TEST(FiberFilter, BundleWithoutAnAreaKeepsNothing)
{
    const std::vector<float> fractions = fractionsOf({5, 5, 4, 5, 5, 4}, 16);
    const float huge = std::numeric_limits<float>::max();
    EXPECT_TRUE(inBundle(fractions, {16, 16}, {5, 0, 5, 10}).empty());
    EXPECT_TRUE(inBundle(fractions, {16, 16}, {0, 5, 10, 5}).empty());
    EXPECT_TRUE(inBundle(fractions, {16, 16}, {notANumber, 0, 10, 10}).empty());
    EXPECT_TRUE(inBundle(fractions, {16, 16}, {-infinity, 0, infinity, 10}).empty());
    EXPECT_EQ(inBundle(fractions, {16, 16}, {-huge, -huge, huge, huge}).size(), 6U);
}

TEST(FiberFilter, RawColumnsAreTestedWithoutTheirDistortion)
{
    const FiberFrame frame{1001, 11};
    const SinusDistortion distortion{-1.2F, 1.2F};
    const std::vector<float> quarter{250.0F / 1001, 5.0F / 11};
    const std::vector<float> middle{500.0F / 1001, 5.0F / 11};
    const auto around = [](float column) { return BundleBox{column - 1, 0, column + 1, 10}; };
    const std::vector<float> kept = inBundle(quarter, frame, around(197), distortion); // S(0.25) = 0.1971
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

TEST(FiberFilter, EveryPathGivesTheReference)
{
    std::mt19937 random(20);
    std::uniform_real_distribution<float> fraction(-0.02F, 1.02F);
    const BundleBox boxes[] = {{20, 30, 500, 540},
                               {0, 0, 511, 511},
                               {100, 100, 100.001F, 400},
                               {1e-20F, 0, 3e-20F, 1e-20F},
                               {5e8F, 5e8F, 5e8F + 64, 6e8F},
                               {-3e38F, -3e38F, 3e38F, 3e38F},
                               {300, 300, 200, 100}};
    const FiberFrame frames[] = {{512, 512}, {577, 33}, {1, 1}, {std::numeric_limits<int>::max(), 640}};
    for (const BundleBox& box : boxes) {
        for (const FiberFrame frame : frames) {
            std::vector<float> fractions(2 * (1000 + random() % 8));
            for (float& value : fractions) {
                value = fraction(random);
                if (random() % 4 == 0) // on the grid, where rounding changes nothing and outlines may be met
                    value = std::nearbyint(value * 512) / 512;
                if (random() % 100 == 0)
                    value = notANumber;
            }
            const std::size_t fibers = fractions.size() / 2;
            std::vector<float> out;
            portable::fibersInFrame(fractions.data(), fibers, frame, out);
            EXPECT_EQ(out, reference(fractions, frame, nullptr));
            portable::fibersInBundle(fractions.data(), fibers, frame, box, out);
            EXPECT_EQ(out, reference(fractions, frame, &box));
            if (!avx2::available())
                continue;
            avx2::fibersInFrame(fractions.data(), fibers, frame, out);
            EXPECT_EQ(out, reference(fractions, frame, nullptr));
            avx2::fibersInBundle(fractions.data(), fibers, frame, box, out);
            EXPECT_EQ(out, reference(fractions, frame, &box));
        }
    }
}

TEST(FiberFilter, PathsAgreeOnFibersAlongTheOutline)
{
    if (!avx2::available())
        GTEST_SKIP() << "this machine has one path";
    // Fibres within a few units in the last place of the outline, on both sides of it.
    const BundleBox box{10, 20, 490, 500};
    std::vector<float> fractions;
    for (int i = 0; i < 20000; ++i) {
        const double angle = 0.0003 * i;
        fractions.push_back(static_cast<float>((250 + 240 * std::cos(angle)) / 512));
        fractions.push_back(static_cast<float>((260 + 240 * std::sin(angle)) / 512));
    }
    std::vector<float> exact;
    std::vector<float> fast;
    portable::fibersInBundle(fractions.data(), fractions.size() / 2, {512, 512}, box, exact);
    avx2::fibersInBundle(fractions.data(), fractions.size() / 2, {512, 512}, box, fast);
    EXPECT_GT(exact.size(), 2000U);
    EXPECT_LT(exact.size(), 38000U);
    EXPECT_EQ(fast, exact);
}

} // namespace
} // namespace zd::detail
