#pragma once

#include <QString>

#include <cstdint>

namespace zd::movietools {

/// A movie that was made.
struct MadeMovie {
    QString path;
    unsigned frames = 0;
    std::uint64_t bytes = 0;
};

/// Where a movie is made.
struct MovieTarget {
    QString path;         ///< "-" for standard output
    bool replace = false; ///< whether a file of that name may be replaced
};

} // namespace zd::movietools
