#include <recording/recordingqueue_p.h>

#include <recording/recordingattributes.h>
#include <recording/recordingfailure_p.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include <sys/statvfs.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.recordingqueue"));

/// Slots besides those that wait: one each for the newest frame, its copy, a lease, a push, and one being freed.
constexpr std::size_t spareSlots = 5;

[[noreturn]] void fail(const char* code, const QString& message, const LocationInfo& location)
{
    recording::fail(logger, Library, code, message, location);
}

std::size_t sizeOfFrames(FrameSink& sink, const RecordingQueueOptions& options)
{
    if (sink.autotime())
        fail("RQ_AUTOTIME", QStringLiteral("The queue gives frames their times: create the movie without autotime."),
             DATAIO_HERE);
    const std::size_t bytes = options.frameBytes != 0 ? options.frameBytes : frameBytesOf(sink.header());
    if (bytes == 0 || bytes > std::numeric_limits<int>::max())
        fail("RQ_FRAME",
             QStringLiteral("The queue must know how many bytes a frame has: set width, height and pixel "
                            "type first, or frameBytes."),
             DATAIO_HERE);
    return bytes;
}

std::size_t framesOf(std::size_t frameBytes, const RecordingQueueOptions& options)
{
    const std::size_t stride = FramePool::stride(frameBytes);
    const std::size_t frames = options.capacityFrames != 0 ? options.capacityFrames : options.capacityBytes / stride;
    if (frames == 0)
        fail("RQ_CAPACITY",
             QStringLiteral("A queue of %1 bytes holds no frame of %2.").arg(options.capacityBytes).arg(frameBytes),
             DATAIO_HERE);
    // Beyond that the pool could not be made either; what is computed from it must not wrap.
    return std::min(frames, std::numeric_limits<std::size_t>::max() / 2 / stride - spareSlots);
}

std::int64_t roomOnDisk(const QString& folder)
{
    struct statvfs system {};
    if (statvfs(folder.toUtf8().constData(), &system) == -1)
        return -1;
    return static_cast<std::int64_t>(system.f_bavail) * static_cast<std::int64_t>(system.f_frsize);
}

} // namespace

RecordingQueue::Private::Private(std::unique_ptr<FrameSink> recordingSink, const RecordingQueueOptions& options)
    : frameBytes(sizeOfFrames(*recordingSink, options)),
      capacity(framesOf(frameBytes, options)),
      whenFull(options.whenFull),
      sink(std::move(recordingSink)),
      folder(sink->folder()),
      pool(frameBytes, capacity + spareSlots),
      ring(capacity + spareSlots),
      latest(pool, frameBytes),
      m_preTrigger(pool, capacity),
      m_thread(*sink, pool, ring, frameBytes, [this](FrameSink& to) { return _writeDropsDown(to); })
{
}

void RecordingQueue::Private::_requireFrame(std::size_t size) const
{
    if (size != frameBytes)
        fail("RQ_FRAME", QStringLiteral("A frame of %1 bytes in a queue of frames of %2.").arg(size).arg(frameBytes),
             DATAIO_HERE);
}

void RecordingQueue::Private::_requireNoLease() const
{
    if (m_leased != FramePool::none)
        fail("RQ_LEASE", QStringLiteral("The frame that was leased before is still out."), DATAIO_HERE);
}

void RecordingQueue::Private::_requireOpen() const
{
    m_thread.rethrowFailure();
    if (!m_accepting)
        fail("RQ_CLOSED", QStringLiteral("The queue is closed."), DATAIO_HERE);
}

/// Frames that wait or are kept.
std::size_t RecordingQueue::Private::_depth() const
{
    return static_cast<std::size_t>(ring.put() - m_thread.taken().reached()) + m_preTrigger.kept();
}

/// Makes room among kept frames if need be.
bool RecordingQueue::Private::_hasRoom()
{
    if (_depth() < capacity)
        return true;
    if (m_preTrigger.kept() == 0)
        return false;
    if (!m_preTrigger.full()) // else the new frame itself will push one out
        m_preTrigger.dropOldest();
    return true;
}

/// Waits until there is room for a while: waking the instrument's thread for each frame would cost more than the frame.
void RecordingQueue::Private::_awaitRoom(Lock& lock)
{
    const std::size_t wanted = std::clamp<std::size_t>(capacity / 8, 1, 64);
    const std::uint64_t target = ring.put() + wanted - capacity;
    lock.unlock();
    m_thread.wake();
    m_thread.taken().await(target, [this] { return m_thread.failed(); });
    lock.lock();
    _requireOpen();
}

/// Whether a frame that finds the queue full waits; not for being let go.
bool RecordingQueue::Private::_waits() const
{
    return whenFull == WhenFull::Block && m_preTrigger.state() != RecordingState::Stopped;
}

/// Counts a frame that is not taken; false.
bool RecordingQueue::Private::_turnAway()
{
    if (m_preTrigger.state() == RecordingState::Stopped) {
        ++m_counts.offered;
        ++m_counts.passed;
    } else if (whenFull == WhenFull::Drop) {
        drops.add(m_nextNumber++);
        ++m_counts.offered;
        ++m_counts.dropped;
    } else {
        ++m_counts.refused;
    }
    _publish();
    return false;
}

bool RecordingQueue::Private::push(const void* data, std::size_t size, const timeval* time, float laserPower)
{
    Lock lock(m_mutex);
    _requireFrame(size);
    _requireOpen();
    const timeval when = time != nullptr ? *time : m_clock.now();
    while (!_hasRoom()) {
        if (!_waits())
            return _turnAway();
        _awaitRoom(lock);
    }
    const FramePool::Slot slot = pool.take();
    std::memcpy(pool.samples(slot), data, size);
    _put(slot, when, laserPower);
    return true;
}

void* RecordingQueue::Private::lease()
{
    Lock lock(m_mutex);
    _requireNoLease();
    _requireOpen();
    while (!_hasRoom()) {
        if (!_waits()) {
            _turnAway();
            return nullptr;
        }
        _awaitRoom(lock);
        _requireNoLease(); // nor one that another thread took meanwhile
    }
    m_leased = pool.take();
    return pool.samples(m_leased);
}

void RecordingQueue::Private::commit(std::size_t size, const timeval* time, float laserPower)
{
    const Lock lock(m_mutex);
    if (m_leased == FramePool::none)
        fail("RQ_LEASE", QStringLiteral("No frame was leased."), DATAIO_HERE);
    _requireFrame(size);
    _requireOpen();
    const FramePool::Slot slot = m_leased;
    m_leased = FramePool::none;
    _put(slot, time != nullptr ? *time : m_clock.now(), laserPower);
}

void RecordingQueue::Private::giveBack()
{
    const Lock lock(m_mutex);
    if (m_leased != FramePool::none)
        pool.putBack(m_leased);
    m_leased = FramePool::none;
}

/// A complete frame goes its way. Whatever becomes of it, it is the newest.
void RecordingQueue::Private::_put(FramePool::Slot slot, timeval time, float laserPower)
{
    const bool stored = m_preTrigger.stores(time);
    const bool kept = !stored && m_preTrigger.state() == RecordingState::Armed;
    const std::int64_t number = stored ? m_nextNumber++ : -1;
    pool.setNote(slot, {number, time, laserPower});
    pool.publish(slot, stored || kept ? 2 : 1);
    ++m_counts.offered;
    m_counts.passed += stored || kept ? 0 : 1;
    _publish(stored || kept ? 1 : 0); // before it can be stored: nobody sees more frames stored than offered
    if (stored)
        ring.put({slot, number});
    else if (kept)
        m_preTrigger.keep(slot);
    latest.show(slot);
    if (kept)
        _publish();
}

void RecordingQueue::Private::_publish(int comes)
{
    m_counts.passed += m_preTrigger.takePassed();
    m_counts.deepest = std::max(m_counts.deepest, static_cast<std::int64_t>(_depth()) + comes);
    m_counts.state = static_cast<std::int64_t>(m_preTrigger.state());
    m_published.publish(m_counts);
}

bool RecordingQueue::Private::flush(FlushTarget target)
{
    _drain();
    if (target == Written)
        return true;
    const std::lock_guard closing(m_closeMutex);
    if (m_closed)
        fail("RQ_CLOSED", QStringLiteral("The queue is closed."), DATAIO_HERE);
    return m_thread.ask([](FrameSink& to) { return to.sync(); });
}

void RecordingQueue::Private::_drain()
{
    const std::uint64_t all = ring.put();
    m_thread.wake();
    m_thread.taken().await(all, [this] { return m_thread.failed(); });
    m_thread.rethrowFailure();
}

void RecordingQueue::Private::close()
{
    const std::lock_guard closing(m_closeMutex);
    if (m_closed)
        return;
    giveBack();
    {
        const Lock lock(m_mutex);
        m_accepting = false;
        m_preTrigger.dropAll();
        _publish();
    }
    _drain();
    m_thread.ask([this](FrameSink& to) { return _writeDropsDown(to); });
    m_thread.stop();
    m_closed = true;
    _endObserver();
}

void RecordingQueue::Private::_endObserver()
{
    const std::lock_guard lock(observerMutex);
    observer.reset();
}

/// By the writing thread.
bool RecordingQueue::Private::_writeDropsDown(FrameSink& to)
{
    const std::int64_t count = drops.count();
    if (count != m_dropsWritten) {
        to.setAttribute(recording::key::droppedFrames, QString::number(count));
        to.setAttribute(recording::key::droppedRanges, drops.text());
        m_dropsWritten = count;
    }
    return true;
}

/// Closes whatever happens.
void RecordingQueue::Private::giveUp() noexcept
{
    for (const bool last : {false, true}) {
        try {
            close();
            return;
        } catch (...) {
            if (!last)
                retry();
        }
    }
    try {
        if (logger.level >= LogLevel::getWarning().rank())
            logger.forceLog(LogLevel::getWarning(), Library, QStringLiteral("RQ_LOST"),
                            QStringLiteral("%1 frames were not written.").arg(waiting().size()), DATAIO_HERE);
        abandon();
        close();
    } catch (...) {
        // The frames are given up, and the thread ends here.
        m_thread.stop();
        _endObserver();
    }
}

void RecordingQueue::Private::arm(std::size_t frames, std::chrono::microseconds duration)
{
    if (frames == 0 || frames > capacity || duration.count() < 0)
        fail("RQ_ARM", QStringLiteral("A queue of %1 frames cannot keep that many before a trigger.").arg(capacity),
             DATAIO_HERE);
    const Lock lock(m_mutex);
    m_preTrigger.arm(frames, duration);
    _publish();
}

std::int64_t RecordingQueue::Private::trigger()
{
    const Lock lock(m_mutex);
    const auto kept = static_cast<std::int64_t>(m_preTrigger.kept());
    m_preTrigger.trigger([this](FramePool::Slot slot) { ring.put({slot, m_nextNumber++}); });
    _publish();
    return kept;
}

RecordingStatistics RecordingQueue::Private::statistics() const
{
    const std::lock_guard lock(m_statisticsMutex);
    std::uint64_t taken = 0;
    FrameCounts counts;
    do { // until nothing was taken out between the two
        taken = m_thread.taken().reached();
        counts = m_published.read();
    } while (taken != m_thread.taken().reached());

    RecordingStatistics now;
    now.offered = counts.offered;
    now.dropped = counts.dropped;
    now.passed = counts.passed;
    now.refused = counts.refused;
    now.stored = static_cast<std::int64_t>(taken) - counts.abandoned;
    now.depth = now.offered - now.stored - now.dropped - now.passed;
    now.deepest = counts.deepest;
    now.capacity = static_cast<std::int64_t>(capacity);
    now.state = static_cast<RecordingState>(counts.state);
    now.failed = m_thread.failed();
    now.slowestWrite = m_thread.slowestWrite();
    const auto bytes = static_cast<std::int64_t>(frameBytes);
    const RateMeter::Rates rates = m_rates.rates(now.offered * bytes, now.stored * bytes);
    now.bytesPerSecond = rates.stored;
    now.offeredBytesPerSecond = rates.offered;
    if (rates.offered > rates.stored && now.state == RecordingState::Recording)
        now.secondsUntilFull = static_cast<double>(std::max<std::int64_t>(0, now.capacity - now.depth) * bytes) /
                               (rates.offered - rates.stored);
    now.roomInFile = m_thread.roomInFile();
    now.roomOnDisk = roomOnDisk(folder);
    return now;
}

std::vector<WaitingFrame> RecordingQueue::Private::waiting() const
{
    const Lock lock(m_mutex);
    std::vector<WaitingFrame> frames;
    if (!m_thread.failed())
        return frames;
    for (std::uint64_t at = m_thread.taken().reached(); at < ring.put(); ++at) {
        const auto& [slot, number] = ring.at(at);
        frames.push_back({pool.note(slot), pool.samples(slot), frameBytes});
        frames.back().note.number = number;
    }
    return frames;
}

void RecordingQueue::Private::retry()
{
    const Lock lock(m_mutex);
    m_thread.retry();
}

void RecordingQueue::Private::abandon()
{
    const Lock lock(m_mutex);
    if (!m_thread.failed())
        return;
    {
        const std::lock_guard alone(m_statisticsMutex);
        while (m_thread.taken().reached() < ring.put()) {
            const auto [slot, number] = ring.at(m_thread.taken().reached());
            drops.add(number);
            ++m_counts.dropped;
            ++m_counts.abandoned;
            pool.release(slot);
            m_thread.taken().raise();
        }
        _publish();
    }
    m_thread.retry();
}

} // namespace zd
