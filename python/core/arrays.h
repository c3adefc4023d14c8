#pragma once

#include <pybind11/numpy.h>

#include <vector>

namespace zd::python {

/// A copy of a list as an array of rows of `columns` values, or with 0 columns as an array of one dimension.
template <typename Value>
pybind11::array toArray(const std::vector<Value>& values, pybind11::ssize_t columns = 0)
{
    const auto size = static_cast<pybind11::ssize_t>(values.size());
    if (columns == 0)
        return pybind11::array_t<Value>(size, values.data());
    return pybind11::array_t<Value>({size / columns, columns}, values.data());
}

} // namespace zd::python
