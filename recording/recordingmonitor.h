#pragma once

#include <QObject>
#include <QTimer>

#ifndef Q_MOC_RUN // does not understand the C++ library
#include <recording/export.h>
#include <recording/recordingqueue.h>

#include <chrono>
#endif

namespace zd {

/// Tells a Qt program how a queue is doing: looks in regular intervals, in the thread and the event loop that it lives in.
/// The queue is borrowed and must live as long.
class DATAIO_RECORDING_EXPORT RecordingMonitor : public QObject {
    Q_OBJECT

public:
    explicit RecordingMonitor(const RecordingQueue& queue,
                              std::chrono::milliseconds interval = std::chrono::milliseconds{200},
                              QObject* parent = nullptr);
    ~RecordingMonitor() override;

    /// Looks now.
    void look();

Q_SIGNALS:
    /// Every time it looks.
    void updated(const zd::RecordingStatistics& statistics);
    /// So many more frames were dropped since it looked before.
    void framesDropped(qint64 count);
    /// The writing thread has failed; the exception arrives at the next `push`, `flush` or `close`.
    void failed();

private:
    const RecordingQueue& m_queue;
    QTimer m_timer;
    qint64 m_dropped = 0;
    bool m_failed = false;
};

} // namespace zd
