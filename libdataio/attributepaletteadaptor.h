#pragma once

#include <libdataio/export.h>

#include <QString>

namespace zd {

class AttributeChunk;
class ZdPalette;

/// Converts between a palette and the `pal_` attributes in which a movie keeps it.
///
/// Names are preceded by `prefix` and "_", or by nothing when the prefix is empty, so that several palettes
/// can live in one attribute set.
namespace AttributePaletteAdaptor {

/// Restores a palette. The nodes are replaced; name and crop range are set when present.
/// Returns false when the number of nodes or one of their values is missing or no number; the palette then
/// holds the nodes read before. Work and memory follow the attributes that exist, not the stored count.
DATAIO_EXPORT bool attributesToPalette(const AttributeChunk& attributes, ZdPalette& palette, const QString& prefix);

/// Stores a checked copy of the palette. Attributes of nodes beyond its size, left from an earlier
/// palette, stay; the stored count bounds what is read back.
DATAIO_EXPORT void paletteToAttributes(const ZdPalette& palette, AttributeChunk& attributes, const QString& prefix);

} // namespace AttributePaletteAdaptor
} // namespace zd
