#include <recording/pretrigger_p.h>

#include <recording/frameclock_p.h>

namespace zd {

PreTrigger::PreTrigger(FramePool& pool, std::size_t capacity) : m_pool(pool), m_slots(capacity + 1) {}

void PreTrigger::arm(std::size_t frames, std::chrono::microseconds duration)
{
    m_frames = frames;
    m_duration = duration;
    while (m_count > m_frames || (m_count > 0 && _oldestIsTooOld()))
        dropOldest();
    _enter(RecordingState::Armed);
}

void PreTrigger::stopAfter(std::int64_t frames)
{
    dropAll();
    if (frames == 0 || m_state != RecordingState::Recording)
        return _enter(RecordingState::Stopped);
    m_timeLeft.reset();
    m_framesLeft = frames;
}

void PreTrigger::stopAfter(std::chrono::microseconds duration)
{
    dropAll();
    if (m_state != RecordingState::Recording)
        return _enter(RecordingState::Stopped);
    m_framesLeft.reset();
    m_timeLeft = duration;
    m_timeBegins = m_newest;
}

bool PreTrigger::stores(timeval time)
{
    m_newest = time;
    if (m_state != RecordingState::Recording)
        return false;
    if (m_timeLeft && !m_timeBegins)
        m_timeBegins = time;
    if (m_timeLeft && between(*m_timeBegins, time) > *m_timeLeft) {
        _enter(RecordingState::Stopped);
        return false;
    }
    if (m_framesLeft && --*m_framesLeft == 0)
        _enter(RecordingState::Stopped); // behind this one
    return true;
}

void PreTrigger::keep(FramePool::Slot slot)
{
    m_slots[(m_first + m_count) % m_slots.size()] = slot;
    ++m_count;
    while (m_count > m_frames || _oldestIsTooOld())
        dropOldest();
}

void PreTrigger::dropOldest()
{
    m_pool.release(_popOldest());
    --m_count;
    ++m_passed;
}

void PreTrigger::dropAll()
{
    while (m_count > 0)
        dropOldest();
}

std::int64_t PreTrigger::takePassed()
{
    const std::int64_t passed = m_passed;
    m_passed = 0;
    return passed;
}

void PreTrigger::_enter(RecordingState state)
{
    m_state = state;
    m_framesLeft.reset();
    m_timeLeft.reset();
}

/// The caller counts it.
FramePool::Slot PreTrigger::_popOldest()
{
    const FramePool::Slot slot = m_slots[m_first];
    m_first = (m_first + 1) % m_slots.size();
    return slot;
}

bool PreTrigger::_oldestIsTooOld()
{
    return m_newest && between(m_pool.note(m_slots[m_first]).time, *m_newest) > m_duration;
}

} // namespace zd
