#pragma once

#include <libdataio/frametimer.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zd {

/// What goes with the samples of a frame.
struct FrameNote {
    /// From 0, in the order in which frames were offered to be stored; -1 while nobody knows whether it will be.
    std::int64_t number = -1;
    timeval time;
    float laserPower = -1; ///< fraction of full power, negative for "not known"
};

/// A copy of a frame.
struct RecordedFrame {
    FrameNote note;
    std::vector<char> samples;
};

/// A frame that waits in a queue, at its place there.
struct WaitingFrame {
    FrameNote note;
    const void* samples = nullptr;
    std::size_t size = 0; ///< bytes
};

/// Numbers of frames that follow each other, both ends included.
struct FrameRange {
    std::int64_t first = 0;
    std::int64_t last = 0;

    friend bool operator==(const FrameRange&, const FrameRange&) = default;
};

} // namespace zd
