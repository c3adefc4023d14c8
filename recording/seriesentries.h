#pragma once

#include <QString>

#include <cstdint>

namespace zd {

/// One part of a series, as a reader lists it.
struct SeriesEntry {
    QString path;
    int number = 0;              ///< by its header, or by its name
    std::int64_t firstFrame = 0; ///< its running index among the frames that are there
    std::int64_t frames = 0;
    bool closed = false; ///< it has its end: nothing will be added
};

/// Frames that are missing in a series before a frame.
struct SeriesGap {
    std::int64_t before = 0; ///< running index of the frame behind the gap
    std::int64_t frames = 0; ///< how many are missing
};

} // namespace zd
