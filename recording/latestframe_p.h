#pragma once

#include <recording/framepool_p.h>
#include <recording/recordedframe.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>

namespace zd {

/// The newest frame of a pool, which is held there until the next one comes, and a copy for those who want to see it.
class LatestFrame {
public:
    LatestFrame(FramePool& pool, std::size_t frameBytes) : m_pool(pool), m_frameBytes(frameBytes) {}

    /// The slot comes with a holder for this. By one thread at a time.
    void show(FramePool::Slot slot);
    /// By any thread; at most one at a time holds a slot of the pool meanwhile.
    std::shared_ptr<const RecordedFrame> copy();

private:
    FramePool& m_pool;
    const std::size_t m_frameBytes;
    std::atomic<FramePool::Slot> m_newest = FramePool::none;
    std::atomic<std::uint64_t> m_shown = 0;
    std::mutex m_mutex; // of those who look
    std::shared_ptr<const RecordedFrame> m_copy;
    std::uint64_t m_copied = 0; // what `m_shown` was
};

} // namespace zd
