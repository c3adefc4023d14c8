#pragma once

#include <recording/droprecord_p.h>
#include <recording/frameclock_p.h>
#include <recording/framecounts_p.h>
#include <recording/framepool_p.h>
#include <recording/framering_p.h>
#include <recording/framesink_p.h>
#include <recording/latestframe_p.h>
#include <recording/pretrigger_p.h>
#include <recording/ratemeter_p.h>
#include <recording/recordingobserver_p.h>
#include <recording/recordingqueue.h>
#include <recording/writingthread_p.h>

#include <mutex>
#include <optional>

namespace zd {

/// The instrument's side of the queue, and what both sides share.
class RecordingQueue::Private {
    using Lock = std::unique_lock<std::mutex>;

public:
    Private(std::unique_ptr<FrameSink> recordingSink, const RecordingQueueOptions& options);

    bool push(const void* data, std::size_t size, const timeval* time, float laserPower);
    void* lease();
    void commit(std::size_t size, const timeval* time, float laserPower);
    void giveBack();

    bool flush(FlushTarget target);
    void close();
    void giveUp() noexcept;

    void arm(std::size_t frames, std::chrono::microseconds duration);
    std::int64_t trigger();
    template <typename Amount>
    void disarm(Amount amount)
    {
        const Lock lock(m_mutex);
        m_preTrigger.stopAfter(amount);
        _publish();
    }

    RecordingState state() const { return static_cast<RecordingState>(m_published.read().state); }
    RecordingStatistics statistics() const;
    std::vector<WaitingFrame> waiting() const;
    void retry();
    void abandon();

    const std::size_t frameBytes;
    const std::size_t capacity;
    const WhenFull whenFull;
    const std::unique_ptr<FrameSink> sink;
    const QString folder;
    FramePool pool;
    FrameRing ring;
    DropRecord drops;
    mutable LatestFrame latest;
    std::mutex observerMutex;
    std::unique_ptr<RecordingObserver> observer;

private:
    void _requireFrame(std::size_t size) const;
    void _requireOpen() const;
    void _requireNoLease() const;
    std::size_t _depth() const;
    bool _hasRoom();
    bool _waits() const;
    void _awaitRoom(Lock& lock);
    bool _turnAway();
    void _put(FramePool::Slot slot, timeval time, float laserPower);
    void _publish(int comes = 0);
    bool _writeDropsDown(FrameSink& to);
    void _drain();
    void _endObserver();

    mutable std::mutex m_mutex; // of the instrument's side; the writing thread never holds it
    bool m_accepting = true;
    std::mutex m_closeMutex;
    bool m_closed = false;
    PreTrigger m_preTrigger;
    FrameClock m_clock;
    FrameCounts m_counts;
    std::int64_t m_nextNumber = 0;
    FramePool::Slot m_leased = FramePool::none;
    PublishedCounts m_published;
    mutable std::mutex m_statisticsMutex; // keeps `abandon` away from those who ask for statistics
    mutable RateMeter m_rates;
    std::int64_t m_dropsWritten = 0; // by the writing thread
    WritingThread m_thread;          // ends first
};

} // namespace zd
