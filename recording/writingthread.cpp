#include <recording/writingthread_p.h>

#include <algorithm>

#include <csignal>
#include <pthread.h>

namespace zd {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::microseconds shortestPause = 500us;
constexpr std::chrono::microseconds longestPause = 10ms;
constexpr auto roomEvery = 100ms;
constexpr auto regularlyEvery = 1s;

/// Signals are the program's own business: while this lives, threads that are started get none.
class WithoutSignals {
public:
    WithoutSignals()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    WithoutSignals(const WithoutSignals&) = delete;
    WithoutSignals& operator=(const WithoutSignals&) = delete;
    ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

private:
    sigset_t m_before{};
};

} // namespace

WritingThread::WritingThread(FrameSink& sink, FramePool& pool, const FrameRing& ring, std::size_t frameBytes,
                             Job regularly)
    : m_sink(sink),
      m_pool(pool),
      m_ring(ring),
      m_frameBytes(frameBytes),
      m_regularly(std::move(regularly)),
      m_roomInFile(sink.roomLeft()),
      m_pauseTime(shortestPause)
{
    const WithoutSignals withoutSignals;
    m_thread = std::thread([this] { _run(); });
}

void WritingThread::wake()
{
    {
        const std::lock_guard lock(m_mutex);
        m_wanted = true;
    }
    m_woken.notify_one();
}

bool WritingThread::ask(Job job)
{
    const std::lock_guard one(m_askMutex);
    std::packaged_task<bool(FrameSink&)> task(std::move(job));
    std::future<bool> answer = task.get_future();
    {
        const std::lock_guard lock(m_mutex);
        m_job = std::move(task);
    }
    wake();
    return answer.get();
}

void WritingThread::stop()
{
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    wake();
    m_thread.join();
}

void WritingThread::rethrowFailure() const
{
    if (!m_failed)
        return;
    const std::lock_guard lock(m_failureMutex);
    if (m_failure)
        std::rethrow_exception(m_failure);
}

void WritingThread::retry()
{
    {
        const std::lock_guard lock(m_failureMutex);
        m_failure = nullptr;
        m_failed = false;
    }
    wake();
}

void WritingThread::_run()
{
    bool prepared = false;
    while (_doJobs()) {
        if (_storeNext()) {
            prepared = false;
            m_pauseTime = shortestPause;
            continue;
        }
        if (!prepared && !m_failed)
            m_sink.prepare();
        prepared = true;
        _pause();
    }
}

bool WritingThread::_storeNext()
{
    const std::uint64_t position = m_taken.reached();
    if (m_failed || position == m_ring.put())
        return false;
    try {
        _store(m_ring.at(position));
    } catch (...) {
        _fail(std::current_exception());
        return false;
    }
    m_pool.release(m_ring.at(position).slot);
    m_taken.raise();
    return true;
}

void WritingThread::_store(const FrameRing::Entry& entry)
{
    const Clock::time_point start = Clock::now();
    if (start - m_regularlyDone >= regularlyEvery) {
        m_regularly(m_sink);
        m_regularlyDone = start;
    }
    FrameNote note = m_pool.note(entry.slot);
    note.number = entry.number;
    m_sink.store(note, m_pool.samples(entry.slot), m_frameBytes);
    _noteWrite(start, Clock::now());
}

/// The frame stays where it is. Those who wait for it learn why it does not come.
void WritingThread::_fail(std::exception_ptr failure)
{
    {
        const std::lock_guard lock(m_failureMutex);
        m_failure = std::move(failure);
        m_failed = true;
    }
    m_taken.wakeAll();
}

void WritingThread::_noteWrite(Clock::time_point start, Clock::time_point end)
{
    const std::int64_t took = std::chrono::duration_cast<std::chrono::microseconds>(end - start).count();
    m_slowestWrite = std::max(m_slowestWrite.load(), took);
    m_storedBytes += static_cast<std::int64_t>(m_frameBytes);
    if (end - m_roomSeen < roomEvery)
        return;
    m_roomInFile = m_sink.roomLeft();
    m_roomSeen = end;
}

/// Does what was asked for; false when the thread is to end.
bool WritingThread::_doJobs()
{
    std::optional<std::packaged_task<bool(FrameSink&)>> job;
    {
        const std::lock_guard lock(m_mutex);
        m_wanted = false;
        if (!m_job)
            return !m_stop;
        job.swap(m_job);
    }
    (*job)(m_sink);
    return true;
}

/// Sleeps, longer and longer while nothing comes.
void WritingThread::_pause()
{
    std::unique_lock lock(m_mutex);
    m_woken.wait_for(lock, m_pauseTime, [this] { return m_wanted || m_stop; });
    m_pauseTime = std::min(m_pauseTime * 5 / 4, longestPause);
}

} // namespace zd
