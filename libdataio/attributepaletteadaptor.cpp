#include <libdataio/attributepaletteadaptor.h>

#include <common/zdpalette.h>
#include <libdataio/attributechunk.h>
#include <libdataio/imagefilelayout.h>

namespace zd::AttributePaletteAdaptor {

namespace {

namespace key = layout::key;

QString keyPrefix(const QString& prefix)
{
    return prefix.isEmpty() ? QString() : prefix + u'_';
}

/// What the four names of a node have in common.
QString nodeName(const QString& prefix, int number)
{
    return prefix + key::paletteNodePrefix + QString::number(number);
}

bool readNodeCount(const AttributeChunk& attributes, const QString& prefix, int& count)
{
    return attributes.get(prefix + key::paletteNodeCount, count) ||
           attributes.get(prefix + key::paletteOldNodeCount, count);
}

bool readNode(const AttributeChunk& attributes, const QString& name, PalNode& node)
{
    return attributes.get(name + key::nodeValueSuffix, node.value) &&
           attributes.get(name + key::nodeRedSuffix, node.r) && attributes.get(name + key::nodeGreenSuffix, node.g) &&
           attributes.get(name + key::nodeBlueSuffix, node.b);
}

void writeNode(AttributeChunk& attributes, const QString& name, const PalNode& node)
{
    attributes.set(name + key::nodeValueSuffix, node.value);
    attributes.set(name + key::nodeRedSuffix, node.r);
    attributes.set(name + key::nodeGreenSuffix, node.g);
    attributes.set(name + key::nodeBlueSuffix, node.b);
}

/// Leaves `limit` alone unless there is such a number.
void readCropLimit(const AttributeChunk& attributes, const QString& name, int& limit)
{
    int stored = 0;
    if (attributes.get(name, stored))
        limit = stored;
}

} // namespace

bool attributesToPalette(const AttributeChunk& attributes, ZdPalette& palette, const QString& prefix)
{
    const QString names = keyPrefix(prefix);
    palette.reset();
    int count = 0;
    if (!readNodeCount(attributes, names, count))
        return false;
    for (int number = 0; number < count; ++number) {
        PalNode node;
        if (!readNode(attributes, nodeName(names, number), node))
            return false;
        palette.addColor(node.value, node.r, node.g, node.b);
    }

    attributes.get(names + key::paletteName, palette.name);
    readCropLimit(attributes, names + key::paletteCropMin, palette.cropMin);
    readCropLimit(attributes, names + key::paletteCropMax, palette.cropMax);
    palette.checkBounds();
    return true;
}

void paletteToAttributes(const ZdPalette& palette, AttributeChunk& attributes, const QString& prefix)
{
    ZdPalette stored = palette;
    stored.checkBounds();
    const QString names = keyPrefix(prefix);
    attributes.set(names + key::paletteCropMin, stored.cropMin);
    attributes.set(names + key::paletteCropMax, stored.cropMax);
    attributes.set(names + key::paletteNodeCount, stored.size());
    attributes.set(names + key::paletteName, stored.name);
    int number = 0;
    for (const PalNode& node : stored)
        writeNode(attributes, nodeName(names, number++), node);
}

} // namespace zd::AttributePaletteAdaptor
