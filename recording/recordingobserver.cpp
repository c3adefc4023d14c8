#include <recording/recordingobserver_p.h>

namespace zd {

RecordingObserver::RecordingObserver(std::function<void()> look, std::chrono::milliseconds interval)
    : m_look(std::move(look)), m_interval(interval), m_thread([this] { _run(); })
{
}

RecordingObserver::~RecordingObserver()
{
    {
        const std::lock_guard lock(m_mutex);
        m_end = true;
    }
    m_ended.notify_all();
    m_thread.join();
}

void RecordingObserver::_run()
{
    for (bool ended = false; !ended;) {
        {
            std::unique_lock lock(m_mutex);
            ended = m_ended.wait_for(lock, m_interval, [this] { return m_end; });
        }
        m_look();
    }
}

} // namespace zd
