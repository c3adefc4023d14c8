#pragma once

namespace zd::python {

/// Makes failures of the library and of its jobs `vqf.MovieError`s.
void translateErrors();

} // namespace zd::python
