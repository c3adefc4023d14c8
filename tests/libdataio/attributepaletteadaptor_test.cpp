#include <libdataio/attributepaletteadaptor.h>

#include <common/zdpalette.h>
#include <libdataio/attributechunk.h>
#include <tests/support/printed.h>

#include <gtest/gtest.h>

#include <array>
#include <utility>
#include <vector>

namespace zd {

namespace {

using AttributePaletteAdaptor::attributesToPalette;
using AttributePaletteAdaptor::paletteToAttributes;
using test::dumped;
using Nodes = std::vector<std::array<float, 4>>;

AttributeChunk attributesOf(const char* lines)
{
    AttributeChunk attributes;
    attributes.parse(QString::fromLatin1(lines));
    return attributes;
}

Nodes nodesOf(const ZdPalette& palette)
{
    Nodes nodes;
    for (const PalNode& node : palette)
        nodes.push_back({node.value, node.r, node.g, node.b});
    return nodes;
}

ZdPalette redToBlue()
{
    ZdPalette palette;
    palette.name = QStringLiteral("red to blue");
    palette.cropMin = -5;
    palette.cropMax = 300;
    palette.addColor(0.0F, 1.0F, 0.25F, 0.0F);
    palette.addColor(1.0F, 0.0F, 0.1F, 1.0F);
    return palette;
}

const char* const twoNodes = "pal_n0_val=0\npal_n0_r=0.5\npal_n0_g=0.25\npal_n0_b=1\n"
                             "pal_n1_val=1\npal_n1_r=1\npal_n1_g=1\npal_n1_b=1\n";

} // namespace

TEST(AttributePaletteAdaptor, StoresACheckedCopyUnderItsPrefix)
{
    AttributeChunk attributes = attributesOf("pal_n2_val=9");
    ZdPalette palette = redToBlue();
    std::swap(palette.cropMin, palette.cropMax);
    paletteToAttributes(palette, attributes, QString());
    EXPECT_EQ(dumped(attributes),
              "pal_cropMax=300\npal_cropMin=-5\n"
              "pal_n0_b=0.000000e+00\npal_n0_g=2.500000e-01\npal_n0_r=1.000000e+00\npal_n0_val=0.000000e+00\n"
              "pal_n1_b=1.000000e+00\npal_n1_g=1.000000e-01\npal_n1_r=0.000000e+00\npal_n1_val=1.000000e+00\n"
              "pal_n2_val=9\npal_name=red to blue\npal_nbcols=2\n");
    EXPECT_EQ(palette.cropMin, 300) << "the caller's palette stays as it is";

    palette.cropMax = 7;
    paletteToAttributes(palette, attributes, QStringLiteral("roi%1"));
    EXPECT_TRUE(attributesToPalette(attributes, palette, QString()));
    EXPECT_EQ(nodesOf(palette), nodesOf(redToBlue()));
    EXPECT_EQ(palette.name.toStdString(), "red to blue");
    EXPECT_EQ(std::pair(palette.cropMin, palette.cropMax), std::pair(-5, 300));
    EXPECT_TRUE(attributesToPalette(attributes, palette, QStringLiteral("roi%1")));
    EXPECT_EQ(std::pair(palette.cropMin, palette.cropMax), std::pair(7, 300));
    EXPECT_FALSE(attributesToPalette(attributes, palette, QStringLiteral("other")));
    EXPECT_EQ(palette.size(), 0);
}

TEST(AttributePaletteAdaptor, RestoresWhatIsThere)
{
    ZdPalette palette = redToBlue();
    AttributeChunk attributes = attributesOf(twoNodes);
    attributes.set(QStringLiteral("pal_nbnodes"), 2);
    attributes.set(QStringLiteral("pal_cropMin"), 1.5F);
    EXPECT_TRUE(attributesToPalette(attributes, palette, QString()));
    EXPECT_EQ(nodesOf(palette), (Nodes{{0.0F, 0.5F, 0.25F, 1.0F}, {1.0F, 1.0F, 1.0F, 1.0F}}));
    EXPECT_EQ(palette.name.toStdString(), "red to blue");
    EXPECT_EQ(palette.cropMin, -5);

    attributes.set(QStringLiteral("pal_cropMin"), 400);
    for (const auto& [newerCount, nodes] : {std::pair("1", 1), {"many", 2}, {"-1", 0}}) {
        palette = redToBlue();
        attributes.set(QStringLiteral("pal_nbcols"), QString::fromLatin1(newerCount));
        EXPECT_TRUE(attributesToPalette(attributes, palette, QString()));
        EXPECT_EQ(palette.size(), nodes) << newerCount;
        EXPECT_EQ(std::pair(palette.cropMin, palette.cropMax), std::pair(300, 400)) << "checked";
    }
}

TEST(AttributePaletteAdaptor, StopsAtTheFirstIncompleteNode)
{
    ZdPalette palette;
    AttributeChunk attributes = attributesOf(twoNodes);
    attributes.set(QStringLiteral("pal_nbcols"), 2147483647);
    attributes.set(QStringLiteral("pal_name"), QStringLiteral("not reached"));
    EXPECT_FALSE(attributesToPalette(attributes, palette, QString()));
    EXPECT_EQ(palette.size(), 2);
    attributes.set(QStringLiteral("pal_n1_g"), QStringLiteral("1e39"));
    EXPECT_FALSE(attributesToPalette(attributes, palette, QString()));
    EXPECT_EQ(nodesOf(palette), (Nodes{{0.0F, 0.5F, 0.25F, 1.0F}}));
    EXPECT_TRUE(palette.name.isEmpty());
}

} // namespace zd
