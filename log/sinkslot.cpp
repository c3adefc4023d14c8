#include <log/sinkslot_p.h>

#include <utility>

namespace zd {

namespace {

/// Whether this thread is running the sink, and so holds the slot's mutex.
thread_local bool runsSink = false;

class RunningSink {
public:
    RunningSink() { runsSink = true; }
    RunningSink(const RunningSink&) = delete;
    RunningSink& operator=(const RunningSink&) = delete;
    ~RunningSink() { runsSink = false; }
};

} // namespace

SinkSlot& SinkSlot::instance()
{
    static SinkSlot& slot = *new SinkSlot;
    return slot;
}

void SinkSlot::replace(std::shared_ptr<const Sink> sink)
{
    std::unique_lock lock(m_mutex, std::defer_lock);
    if (!runsSink)
        lock.lock();
    m_sink.swap(sink);
    // The replaced sink dies with `sink`, after the lock: its destructor may log.
    if (lock.owns_lock())
        lock.unlock();
}

bool SinkSlot::deliver(const LogRecord& record)
{
    if (runsSink)
        return false;
    std::shared_ptr<const Sink> sink; // outlives the lock and a replacement by the sink itself
    const std::lock_guard lock(m_mutex);
    sink = m_sink;
    if (!sink)
        return false;
    const RunningSink running;
    (*sink)(record);
    return true;
}

} // namespace zd
