#include <libdataio/detail/rasterorder_p.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace zd::detail {
namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

using Positions = std::vector<std::pair<float, float>>;

/// Before in a list where not-a-number stands last.
bool isBefore(float a, float b)
{
    if (std::isnan(a) || std::isnan(b))
        return !std::isnan(a);
    return a < b;
}

bool areEqual(float a, float b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

/// The order told as it is: a stable sort that rounds in each comparison.
Positions reference(Positions positions)
{
    std::stable_sort(positions.begin(), positions.end(), [](const auto& a, const auto& b) {
        const float rowA = std::nearbyint(a.second);
        const float rowB = std::nearbyint(b.second);
        if (!areEqual(rowA, rowB))
            return isBefore(rowA, rowB);
        return !areEqual(a.first, b.first) && isBefore(a.first, b.first);
    });
    return positions;
}

/// Compares bit for bit, so that the order of equal pairs and the signs of zeros count.
void expectReferenceOrder(const Positions& positions)
{
    std::vector<float> flat;
    for (const auto& [column, row] : positions)
        flat.insert(flat.end(), {column, row});
    sortRasterOrder(flat);
    ASSERT_EQ(flat.size(), 2 * positions.size());
    const Positions expected = reference(positions);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const float pair[] = {expected[i].first, expected[i].second};
        ASSERT_EQ(std::memcmp(pair, flat.data() + 2 * i, sizeof pair), 0)
            << "fibre " << i << ": expected (" << pair[0] << ", " << pair[1] << ")";
    }
}

TEST(RasterOrder, FramesOfAllSizesComeInReferenceOrder)
{
    std::mt19937 random(3);
    // From many fibres in one pixel to frames whose rows and columns take two digits each, and beyond.
    for (const float side : {0.0F, 0.4F, 1.0F, 3.0F, 64.0F, 576.0F, 5000.0F, 65535.0F, 65536.5F, 1e9F}) {
        std::uniform_real_distribution<float> coordinate(0, side);
        Positions positions(3000);
        for (auto& [column, row] : positions) {
            column = coordinate(random);
            row = coordinate(random);
            if (random() % 8 == 0) // equal columns and halves of rows
                column = std::floor(column), row = std::floor(row) + 0.5F;
        }
        SCOPED_TRACE(side);
        expectReferenceOrder(positions);
        expectReferenceOrder(reference(positions));
        std::reverse(positions.begin(), positions.end());
        expectReferenceOrder(positions);
    }
}

TEST(RasterOrder, AnyValuesComeInReferenceOrder)
{
    const float values[] = {0.0F,   -0.0F,    0.4F,      -0.4F,      0.5F,        -0.5F,    1.5F,
                            -1.5F,  -3.0F,    65534.5F,  65535.0F,   65535.4F,    65536.0F, 1e30F,
                            -1e30F, infinity, -infinity, notANumber, -notANumber, 1e-40F,   -1e-40F};
    Positions positions;
    for (const float column : values) {
        for (const float row : values)
            positions.emplace_back(column, row);
    }
    expectReferenceOrder({});
    expectReferenceOrder({{4, 3}});
    std::mt19937 random(4);
    for (int round = 0; round < 20; ++round) {
        std::shuffle(positions.begin(), positions.end(), random);
        expectReferenceOrder(positions);
    }
    // Only rows or only columns lie outside the range that is sorted by pixels; then signed zeros and the ends of that range.
    expectReferenceOrder({{2, 70000}, {1, 70001}, {3, -1}, {1, -2}, {2, notANumber}, {1, 5}});
    expectReferenceOrder({{notANumber, 5}, {70000, 5}, {0.5F, 5}, {-1, 5}, {0.25F, 5}});
    Positions zeros{{0.0F, 0.0F}, {-0.0F, -0.4F}, {0.0F, -0.0F}, {65535.0F, 65535.0F}, {0.0F, 0.5F}, {-0.0F, 0.0F}};
    for (int round = 0; round < 20; ++round) {
        std::shuffle(zeros.begin(), zeros.end(), random);
        expectReferenceOrder(zeros);
    }
}

} // namespace
} // namespace zd::detail
