#pragma once

#include <libdataio/frametimer.h>

#include <cstdint>
#include <vector>

namespace zd::movietools {

/// A place where the frames of a movie do not follow each other as they do elsewhere.
struct IrregularInterval {
    unsigned frame = 0;        ///< the later one of the two
    std::int64_t interval = 0; ///< microseconds since the frame before; negative where time runs back
    std::uint64_t dropped = 0; ///< frames that would have fitted between
};

/// How regularly frames follow each other. Times in microseconds.
struct FrameIntervals {
    std::uint64_t count = 0; ///< one less than times
    std::int64_t shortest = 0;
    std::int64_t longest = 0;
    double median = 0;
    double mean = 0;
    double deviation = 0; ///< standard deviation
    std::vector<IrregularInterval> irregular;

    std::uint64_t dropped() const;     ///< frames, all together
    std::uint64_t runningBack() const; ///< places where time runs back
};

/// Looks at the intervals between times. More than one and a half times the median counts as dropped frames.
FrameIntervals frameIntervals(const std::vector<timeval>& times);

} // namespace zd::movietools
