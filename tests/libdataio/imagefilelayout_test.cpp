#include <libdataio/imagefilelayout.h>

#include <gtest/gtest.h>

#include <limits>
#include <utility>

namespace zd::layout {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float hugeFloat = std::numeric_limits<float>::max();
constexpr int smallestInt = std::numeric_limits<int>::min();
constexpr int largestInt = std::numeric_limits<int>::max();

} // namespace

TEST(ImageFileLayout, EncodesLaserPowers)
{
    for (const auto& [power, byte] : {
             std::pair(0.0F, 0),  {-0.0F, 0},        {0.5F, 127},     {1.0F, 254},       {2.0F, 252},
             {-1.0F, 255},        {-0.25F, 255},     {-1e-45F, 255},  {notANumber, 255}, {-infinity, 255},
             {255 / 254.0F, 255}, {256 / 254.0F, 0}, {2.5F / 254, 2}, {3.5F / 254, 4},   {16777217.0F, 0},
             {66049.0F, 254},     {16909320.0F, 0},  {1e30F, 0},      {hugeFloat, 0},    {infinity, 0},
         })
        EXPECT_EQ(encodeLaserPower(power), byte) << power;

    EXPECT_EQ(decodeLaserPower(255), -1.0F);
    EXPECT_EQ(decodeLaserPower(1), 0.0039370079F);
    EXPECT_EQ(decodeLaserPower(254), 1.0F);
    for (int byte = 0; byte <= 255; ++byte) {
        const auto stored = static_cast<std::uint8_t>(byte);
        EXPECT_EQ(encodeLaserPower(decodeLaserPower(stored)), stored);
    }
}

TEST(ImageFileLayout, EncodesFiberCoordinates)
{
    EXPECT_EQ(encodeFiberWord(-3.0F, 4), 0U);
    EXPECT_EQ(encodeFiberWord(1.5F, 2), 2147483647U);
    EXPECT_EQ(encodeFiberWord(2.5F, 4), 2684354559U);
    EXPECT_EQ(encodeFiberWord(notANumber, 4), 0U);
    EXPECT_EQ(encodeFiberWord(infinity, 4), 3221225471U);
    EXPECT_EQ(encodeFiberWord(-infinity, 4), 0U);
    EXPECT_EQ(encodeFiberWord(5.0F, 1), 0U);

    EXPECT_EQ(decodeFiberWord(0, 4), 0.0F);
    EXPECT_EQ(decodeFiberWord(2684354559U, 4), 2.5F);
    EXPECT_EQ(decodeFiberWord(0x80000000U, 2), 1.0F);
    EXPECT_EQ(decodeFiberWord(0xFFFFFFFFU, largestInt), 2147483646.0F);
    EXPECT_EQ(encodeFiberWord(2.5F, 640), 16777215U) << "truncated";
    EXPECT_EQ(encodeFiberWord(68.00003814697266F, 100), 2920579398U) << "multiplied first, then divided";
    EXPECT_EQ(decodeFiberWord(16777215U, 640), 2.49999976F);
}

TEST(ImageFileLayout, EncodesFiberCoordinatesOnAxesWithoutPixels)
{
    // Limited to extent - 1, below 0: -1 x 4294967295 / 0 has no value; -6 x 4294967295 / -5 is 5153960754.
    EXPECT_EQ(encodeFiberWord(3.0F, 0), 0U);
    EXPECT_EQ(encodeFiberWord(3.0F, -5), 858993458U);
    EXPECT_EQ(encodeFiberWord(notANumber, -1), 4294967294U);
    EXPECT_EQ(encodeFiberWord(hugeFloat, smallestInt), 1U);
    EXPECT_EQ(encodeFiberWord(hugeFloat, largestInt), 4294967293U);
    EXPECT_EQ(decodeFiberWord(0xFFFFFFFFU, 0), -1.0F);
    EXPECT_EQ(decodeFiberWord(0xFFFFFFFFU, -5), -6.0F);
    EXPECT_EQ(decodeFiberWord(0, smallestInt), -2147483649.0F);
}

TEST(ImageFileLayout, KnowsCommentsByteOrderAndSampleSizes)
{
    EXPECT_EQ(decodeComment(QStringLiteral("a\u0007b\r\u0007")).toStdString(), "a\nb\r\n");
    EXPECT_FALSE(needsSwapping(0) || needsSwapping(2));
    EXPECT_TRUE(needsSwapping(1) && needsSwapping(3) && needsSwapping(-2));
    for (const auto& [bits, bytes] :
         {std::pair(-8, 0), {0, 1}, {8, 1}, {9, 2}, {24, 3}, {smallestInt, -268435455}, {largestInt, 268435456}})
        EXPECT_EQ(bytesForBits(bits), bytes) << bits;
}

} // namespace zd::layout
