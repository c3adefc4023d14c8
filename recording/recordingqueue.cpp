#include <recording/recordingqueue_p.h>

namespace zd {

RecordingQueue::RecordingQueue(std::unique_ptr<FrameSink> sink, const RecordingQueueOptions& options)
    : m_d(std::make_unique<Private>(std::move(sink), options))
{
}

RecordingQueue::RecordingQueue(ImageWriter& movie, const RecordingQueueOptions& options)
    : RecordingQueue(sinkOf(movie), options)
{
}

RecordingQueue::RecordingQueue(SeriesWriter& series, const RecordingQueueOptions& options)
    : RecordingQueue(sinkOf(series), options)
{
}

RecordingQueue::~RecordingQueue()
{
    m_d->giveUp();
}

bool RecordingQueue::push(const void* data, std::size_t size, float laserPower)
{
    return m_d->push(data, size, nullptr, laserPower);
}

bool RecordingQueue::push(const void* data, std::size_t size, timeval time, float laserPower)
{
    return m_d->push(data, size, &time, laserPower);
}

void* RecordingQueue::lease()
{
    return m_d->lease();
}

bool RecordingQueue::commit(std::size_t size, float laserPower)
{
    m_d->commit(size, nullptr, laserPower);
    return true;
}

bool RecordingQueue::commit(std::size_t size, timeval time, float laserPower)
{
    m_d->commit(size, &time, laserPower);
    return true;
}

void RecordingQueue::giveBack()
{
    m_d->giveBack();
}

bool RecordingQueue::flush(FlushTarget target)
{
    return m_d->flush(target);
}

void RecordingQueue::close()
{
    m_d->close();
}

void RecordingQueue::arm(std::size_t frames)
{
    m_d->arm(frames, std::chrono::microseconds::max());
}

void RecordingQueue::arm(std::chrono::microseconds duration)
{
    m_d->arm(m_d->capacity, duration);
}

std::int64_t RecordingQueue::trigger()
{
    return m_d->trigger();
}

void RecordingQueue::disarm(std::size_t frames)
{
    m_d->disarm(static_cast<std::int64_t>(frames));
}

void RecordingQueue::disarm(std::chrono::microseconds duration)
{
    m_d->disarm(duration);
}

RecordingState RecordingQueue::state() const
{
    return m_d->state();
}

RecordingStatistics RecordingQueue::statistics() const
{
    return m_d->statistics();
}

std::vector<FrameRange> RecordingQueue::droppedFrames() const
{
    return m_d->drops.ranges();
}

void RecordingQueue::observe(std::function<void(const RecordingStatistics&)> callback,
                             std::chrono::milliseconds interval)
{
    const std::lock_guard lock(m_d->observerMutex);
    m_d->observer.reset();
    if (callback)
        m_d->observer = std::make_unique<RecordingObserver>(
            [this, callback = std::move(callback)] { callback(m_d->statistics()); }, interval);
}

std::shared_ptr<const RecordedFrame> RecordingQueue::latest() const
{
    return m_d->latest.copy();
}

std::vector<WaitingFrame> RecordingQueue::waiting() const
{
    return m_d->waiting();
}

void RecordingQueue::retry()
{
    m_d->retry();
}

void RecordingQueue::abandon()
{
    m_d->abandon();
}

} // namespace zd
