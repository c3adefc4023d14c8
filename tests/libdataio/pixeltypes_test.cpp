#include <libdataio/pixeltypes.h>

#include <gtest/gtest.h>

#include <limits>

namespace {

struct Row {
    ZDImagePixelType type;
    const char* name;
    int bits;
    ZDImagePixelGroups group;
};

constexpr Row table[] = {
    {ZD_UNKNOWN, "ZD_UNKNOWN", 0, ZD_GROUP_UNKNOWN}, {ZD_FLOAT, "ZD_FLOAT", 32, ZD_GROUP_FLOAT},
    {ZD_DOUBLE, "ZD_DOUBLE", 64, ZD_GROUP_FLOAT},    {ZD_UCHAR, "ZD_UCHAR", 8, ZD_GROUP_UNSIGNED},
    {ZD_CHAR, "ZD_CHAR", 8, ZD_GROUP_SIGNED},        {ZD_USHORT, "ZD_USHORT", 16, ZD_GROUP_UNSIGNED},
    {ZD_SHORT, "ZD_SHORT", 16, ZD_GROUP_SIGNED},     {ZD_UINT, "ZD_UINT", 32, ZD_GROUP_UNSIGNED},
    {ZD_INT, "ZD_INT", 32, ZD_GROUP_SIGNED},         {ZD_ULONG, "ZD_ULONG", 32, ZD_GROUP_UNSIGNED},
    {ZD_LONG, "ZD_LONG", 32, ZD_GROUP_SIGNED},       {ZD_RGB, "ZD_RGB", 24, ZD_GROUP_RGB},
    {ZD_RGBA, "ZD_RGBA", 32, ZD_GROUP_RGBA},
};

} // namespace

TEST(PixelTypes, HaveNumbersNamesBitsAndGroups)
{
    int number = 0;
    for (const Row& row : table) {
        EXPECT_EQ(row.type, number++) << row.name;
        EXPECT_EQ(GetPixBits(row.type), row.bits) << row.name;
        EXPECT_EQ(GetPixGroup(row.type), row.group) << row.name;
        QString name = QStringLiteral("before");
        PixelTypeToQstring(row.type, name);
        EXPECT_EQ(name.toStdString(), row.name);
        EXPECT_EQ(QstringToPixelType(name), row.type);
        EXPECT_EQ(QstringToPixelType(name.toLower()), row.type);
        EXPECT_EQ(QstringToPixelType(name.replace(4, 1, name.mid(4, 1).toLower())), row.type);
    }
    for (const int unknown : {-1, 13, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        const auto type = static_cast<ZDImagePixelType>(unknown);
        EXPECT_EQ(GetPixBits(type), 0);
        EXPECT_EQ(GetPixGroup(type), ZD_GROUP_UNKNOWN);
        QString name = QStringLiteral("before");
        PixelTypeToQstring(type, name);
        EXPECT_TRUE(name.isEmpty());
    }
    for (const char* name : {"", " ZD_SHORT", "ZD_SHORT ", "SHORT", "ZD_SHORTS"})
        EXPECT_EQ(QstringToPixelType(QString::fromLatin1(name)), ZD_UNKNOWN) << name;
}

TEST(PixelTypes, AreGuessedFromGroupAndBits)
{
    for (int bits = -70; bits <= 70; ++bits) {
        const auto exactly = [bits](int width, ZDImagePixelType type) { return bits == width ? type : ZD_UNKNOWN; };
        const auto sum = [](auto... types) { return static_cast<ZDImagePixelType>((types + ...)); };
        EXPECT_EQ(GuessPixelType(ZD_GROUP_FLOAT, bits), sum(exactly(32, ZD_FLOAT), exactly(64, ZD_DOUBLE)));
        EXPECT_EQ(GuessPixelType(ZD_GROUP_SIGNED, bits),
                  sum(exactly(8, ZD_CHAR), exactly(16, ZD_SHORT), exactly(32, ZD_INT), exactly(64, ZD_LONG)));
        EXPECT_EQ(GuessPixelType(ZD_GROUP_UNSIGNED, bits),
                  sum(exactly(8, ZD_UCHAR), exactly(16, ZD_USHORT), exactly(32, ZD_UINT), exactly(64, ZD_ULONG)));
        EXPECT_EQ(GuessPixelType(ZD_GROUP_RGB, bits), exactly(24, ZD_RGB));
        EXPECT_EQ(GuessPixelType(ZD_GROUP_RGBA, bits), exactly(24, ZD_RGBA));
        for (const int group : {-1, 0, 7})
            EXPECT_EQ(GuessPixelType(static_cast<ZDImagePixelGroups>(group), bits), ZD_UNKNOWN);
    }
    const auto ofDepth = [](int bits) { return GuessPixelType(ZD_GROUP_UNSIGNED_BITS, bits); };
    EXPECT_TRUE(ofDepth(std::numeric_limits<int>::min()) == ZD_UCHAR && ofDepth(8) == ZD_UCHAR);
    EXPECT_TRUE(ofDepth(9) == ZD_USHORT && ofDepth(16) == ZD_USHORT);
    EXPECT_TRUE(ofDepth(17) == ZD_UINT && ofDepth(32) == ZD_UINT);
    EXPECT_TRUE(ofDepth(33) == ZD_ULONG && ofDepth(64) == ZD_ULONG && ofDepth(65) == ZD_UNKNOWN);
}
