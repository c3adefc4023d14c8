#pragma once

#include <recording/framepool_p.h>
#include <recording/recordingstatistics.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zd {

/// Decides which frames are stored, which are kept for a trigger and which go.
class PreTrigger {
public:
    /// Keeps at most `capacity` frames.
    PreTrigger(FramePool& pool, std::size_t capacity);

    RecordingState state() const { return m_state; }
    std::size_t kept() const { return m_count; }
    /// Whether the next frame that is kept pushes an older one out.
    bool full() const { return m_count >= m_frames; }

    /// Keeps the newest `frames`, no older than `duration` before the newest.
    void arm(std::size_t frames, std::chrono::microseconds duration);
    /// Stores from here on. `take` gets the kept slots, the oldest first.
    template <typename Take>
    void trigger(Take take)
    {
        for (; m_count > 0; --m_count)
            take(_popOldest());
        _enter(RecordingState::Recording);
    }
    /// Stops after so many more frames, or after frames of so much more time; what is kept goes.
    void stopAfter(std::int64_t frames);
    void stopAfter(std::chrono::microseconds duration);

    /// Whether a frame of that time is stored; stops when the time for it has come.
    bool stores(timeval time);
    /// Keeps a slot, giving up those that are too many or too old.
    void keep(FramePool::Slot slot);
    /// Lets the oldest kept frame go.
    void dropOldest();
    void dropAll();
    /// Frames that were kept and went, since this was asked before.
    std::int64_t takePassed();

private:
    void _enter(RecordingState state);
    FramePool::Slot _popOldest();
    bool _oldestIsTooOld();

    FramePool& m_pool;
    RecordingState m_state = RecordingState::Recording;
    std::vector<FramePool::Slot> m_slots; // in a circle
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    std::size_t m_frames = 0;
    std::chrono::microseconds m_duration{0};
    std::int64_t m_passed = 0;
    std::optional<timeval> m_newest;
    std::optional<std::int64_t> m_framesLeft;
    std::optional<std::chrono::microseconds> m_timeLeft;
    std::optional<timeval> m_timeBegins;
};

} // namespace zd
