#pragma once

#include <chrono>
#include <cstdint>
#include <limits>

namespace zd {

/// What a queue does with the frames that it takes.
enum class RecordingState : int {
    Recording = 0, ///< stores them
    Armed = 1,     ///< keeps the newest ones for a trigger, and lets the others go
    Stopped = 2,   ///< lets them go
};

/// How a queue is doing at one moment: `offered` is always `stored` + `dropped` + `passed` + `depth`.
struct RecordingStatistics {
    std::int64_t offered = 0; ///< frames that were pushed or committed, and taken or dropped
    std::int64_t stored = 0;  ///< those that are in the movie
    std::int64_t dropped = 0; ///< those that found the queue full, or were given up after a failure
    std::int64_t passed = 0;  ///< those that nobody wanted: let go before a trigger or after a stop
    std::int64_t refused = 0; ///< frames that found the queue full and were left to the caller; not in `offered`

    std::int64_t depth = 0;    ///< frames in the pool, kept ones included
    std::int64_t deepest = 0;  ///< most of them at any moment
    std::int64_t capacity = 0; ///< frames that the pool takes
    RecordingState state = RecordingState::Recording;
    bool failed = false; ///< the writing thread waits after a failure

    std::chrono::microseconds slowestWrite{0}; ///< longest time that storing one frame took
    double bytesPerSecond = 0;                 ///< stored, over the last seconds
    double offeredBytesPerSecond = 0;          ///< offered, over the same time
    /// Seconds until the pool is full at these rates; infinity when it does not fill.
    double secondsUntilFull = std::numeric_limits<double>::infinity();
    std::int64_t roomInFile = 0;  ///< bytes of frames that fit into the movie, or the present part of a series
    std::int64_t roomOnDisk = -1; ///< bytes left on the disk; -1 when the system does not tell
};

} // namespace zd
