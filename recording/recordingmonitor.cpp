#include <recording/recordingmonitor.h>

namespace zd {

RecordingMonitor::RecordingMonitor(const RecordingQueue& queue, std::chrono::milliseconds interval, QObject* parent)
    : QObject(parent), m_queue(queue)
{
    connect(&m_timer, &QTimer::timeout, this, &RecordingMonitor::look);
    m_timer.start(interval);
}

RecordingMonitor::~RecordingMonitor() = default;

void RecordingMonitor::look()
{
    const RecordingStatistics now = m_queue.statistics();
    Q_EMIT updated(now);
    if (now.dropped > m_dropped)
        Q_EMIT framesDropped(now.dropped - m_dropped);
    m_dropped = now.dropped;
    if (now.failed && !m_failed)
        Q_EMIT failed();
    m_failed = now.failed;
}

} // namespace zd
