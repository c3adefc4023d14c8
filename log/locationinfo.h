#pragma once

namespace zd {

/// The place in the source that reports a condition. Both texts are static: never released, valid for ever.
struct LocationInfo {
    const char* file = "";     ///< path from the root of the source tree
    const char* function = ""; ///< full signature of the enclosing function
    int line = 0;              ///< line of the report in `file`
};

} // namespace zd

/// The place where this macro stands.
#define DATAIO_HERE DATAIO_HERE_IN(__PRETTY_FUNCTION__)
/// The same for a part of an operation, which is named instead of the part: a static text.
#define DATAIO_HERE_IN(operation) (::zd::LocationInfo{__FILE__, operation, __LINE__})
