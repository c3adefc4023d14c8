#pragma once

#include <recording/framepool_p.h>
#include <recording/framering_p.h>
#include <recording/framesink_p.h>
#include <recording/milestone_p.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <thread>

namespace zd {

/// Takes frames out of a ring and stores them, in order, by a thread of its own. After a failure it leaves the ring alone
/// until `retry`.
///
/// Whoever puts frames in need not tell: it looks by itself, often while frames come and up to a hundred times a second
/// while none do.
class WritingThread {
public:
    using Job = std::function<bool(FrameSink& sink)>;

    /// Runs `regularly` once a second while it stores.
    WritingThread(FrameSink& sink, FramePool& pool, const FrameRing& ring, std::size_t frameBytes, Job regularly);
    WritingThread(const WritingThread&) = delete;
    WritingThread& operator=(const WritingThread&) = delete;
    ~WritingThread() { stop(); }

    /// Frames that have left the ring.
    Milestone& taken() { return m_taken; }
    const Milestone& taken() const { return m_taken; }

    /// Looks now.
    void wake();
    /// Runs `job` between two frames, after a failure as well.
    bool ask(Job job);
    void stop();

    bool failed() const { return m_failed; }
    void rethrowFailure() const;
    void retry();

    std::int64_t storedBytes() const { return m_storedBytes; }
    std::chrono::microseconds slowestWrite() const { return std::chrono::microseconds{m_slowestWrite}; }
    std::int64_t roomInFile() const { return m_roomInFile; }

private:
    using Clock = std::chrono::steady_clock;

    void _run();
    bool _storeNext();
    void _fail(std::exception_ptr failure);
    void _store(const FrameRing::Entry& entry);
    void _noteWrite(Clock::time_point start, Clock::time_point end);
    bool _doJobs();
    void _pause();

    FrameSink& m_sink;
    FramePool& m_pool;
    const FrameRing& m_ring;
    const std::size_t m_frameBytes;
    const Job m_regularly;
    Milestone m_taken;

    std::atomic<std::int64_t> m_storedBytes = 0;
    std::atomic<std::int64_t> m_slowestWrite = 0; // microseconds
    std::atomic<std::int64_t> m_roomInFile = 0;
    Clock::time_point m_roomSeen;
    Clock::time_point m_regularlyDone = Clock::now();

    std::atomic<bool> m_failed = false;
    mutable std::mutex m_failureMutex;
    std::exception_ptr m_failure;

    std::mutex m_mutex;
    std::condition_variable m_woken;
    bool m_wanted = false; // there is a reason not to sleep
    bool m_stop = false;
    std::optional<std::packaged_task<bool(FrameSink&)>> m_job;
    std::mutex m_askMutex; // one job at a time

    std::chrono::microseconds m_pauseTime;
    std::thread m_thread;
};

} // namespace zd
