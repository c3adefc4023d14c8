#pragma once

#include <recording/recordingstatistics.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace zd {

/// Calls a function again and again by a thread of its own, so that neither the disk nor that function delays anything.
class RecordingObserver {
public:
    RecordingObserver(std::function<void()> look, std::chrono::milliseconds interval);
    RecordingObserver(const RecordingObserver&) = delete;
    RecordingObserver& operator=(const RecordingObserver&) = delete;
    /// Calls it once more.
    ~RecordingObserver();

private:
    void _run();

    const std::function<void()> m_look;
    const std::chrono::milliseconds m_interval;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_end = false;
    std::thread m_thread;
};

} // namespace zd
