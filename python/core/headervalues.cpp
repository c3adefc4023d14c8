#include <python/core/headervalues.h>

#include <common/zdpalette.h>
#include <libdataio/attributechunk.h>
#include <python/core/arrays.h>
#include <python/core/textcaster.h>

#include <vector>

namespace zd::python {

namespace py = pybind11;

py::dict attributesOf(const AttributeChunk& header)
{
    py::dict attributes;
    for (const auto& [name, value] : header.attributes())
        attributes[py::cast(name)] = py::cast(value.text());
    return attributes;
}

py::tuple paletteTuple(const ZdPalette& palette)
{
    std::vector<float> nodes;
    for (const PalNode& node : palette)
        nodes.insert(nodes.end(), {node.value, node.r, node.g, node.b});
    return py::make_tuple(palette.name, palette.cropMin, palette.cropMax, toArray(nodes, 4));
}

ZdPalette paletteFrom(const py::tuple& values)
{
    ZdPalette palette;
    palette.name = values[0].cast<QString>();
    palette.cropMin = values[1].cast<int>();
    palette.cropMax = values[2].cast<int>();
    const auto nodes = values[3].cast<py::array_t<float>>().unchecked<2>();
    if (nodes.shape(1) != 4)
        throw py::value_error("a palette's nodes have four values each");
    for (py::ssize_t i = 0; i < nodes.shape(0); ++i)
        palette.addColor(nodes(i, 0), nodes(i, 1), nodes(i, 2), nodes(i, 3));
    return palette;
}

} // namespace zd::python
