#pragma once

namespace zd {

/// Where a reported condition comes from. The numbers are part of the interface: log readers match on them.
enum LogOrigin : int {
    Library = 0, ///< the library's own checks; also every warning and information record
    File = 3,    ///< the file that the caller named
    System = 4,  ///< a failed call of the operating system
};

} // namespace zd
