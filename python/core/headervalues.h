#pragma once

#include <pybind11/pytypes.h>

namespace zd {
class AttributeChunk;
class ZdPalette;
} // namespace zd

namespace zd::python {

/// Names and texts of all attributes.
pybind11::dict attributesOf(const AttributeChunk& header);

/// A palette as its name, its crop range, lowest and highest, and an array with a row for each node: position, red,
/// green, blue.
pybind11::tuple paletteTuple(const ZdPalette& palette);
ZdPalette paletteFrom(const pybind11::tuple& values);

} // namespace zd::python
