#pragma once

#include <pybind11/pybind11.h>

namespace zd::python {

/// The jobs on whole movies.
void defineJobs(pybind11::module_& module);

} // namespace zd::python
