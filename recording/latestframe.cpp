#include <recording/latestframe_p.h>

namespace zd {

void LatestFrame::show(FramePool::Slot slot)
{
    const FramePool::Slot before = m_newest.exchange(slot);
    ++m_shown;
    if (before != FramePool::none)
        m_pool.release(before);
}

std::shared_ptr<const RecordedFrame> LatestFrame::copy()
{
    const std::lock_guard lock(m_mutex);
    const std::uint64_t shown = m_shown;
    if (shown == m_copied)
        return m_copy;
    FramePool::Slot slot = m_newest;
    while (!m_pool.hold(slot)) // let go for a newer one in this very moment
        slot = m_newest;
    auto frame = std::make_shared<RecordedFrame>();
    const char* samples = static_cast<const char*>(m_pool.samples(slot));
    frame->note = m_pool.note(slot);
    frame->samples.assign(samples, samples + m_frameBytes);
    m_pool.release(slot);
    m_copied = shown;
    m_copy = std::move(frame);
    return m_copy;
}

} // namespace zd
