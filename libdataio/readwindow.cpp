#include <libdataio/readwindow_p.h>

#include <libdataio/systemcalls_p.h>

#include <algorithm>
#include <new>

namespace zd {

std::span<const char> ReadWindow::from(int fd, std::int64_t position, std::int64_t needed)
{
    if (m_steps < stepsBefore || position != m_sequenceEnd || needed > largestChunk ||
        position - m_sequenceStart < bytesBefore)
        return {};
    const auto holds = [&](std::span<const char> bytes) { return static_cast<std::int64_t>(bytes.size()) >= needed; };
    if (!holds(_held(position)))
        _fill(fd, position);
    const std::span<const char> held = _held(position);
    return holds(held) ? held : std::span<const char>();
}

void ReadWindow::stepped(std::int64_t start, std::int64_t end)
{
    if (start != m_sequenceEnd) {
        drop();
        m_sequenceStart = start;
    }
    if (end < start) // there is no position behind that chunk
        return drop();
    if (m_steps < stepsBefore)
        ++m_steps;
    m_sequenceEnd = end;
    m_lastChunk = end - start;
}

void ReadWindow::moveTo(std::int64_t position)
{
    if (position != m_sequenceEnd)
        drop();
}

void ReadWindow::drop()
{
    m_steps = 0;
    m_sequenceStart = -1;
    m_sequenceEnd = -1;
    m_lastChunk = 0;
    m_count = 0;
}

std::span<const char> ReadWindow::_held(std::int64_t position) const
{
    const std::int64_t into = position - m_start;
    if (into < 0 || into >= m_count)
        return {};
    return {m_bytes.data() + into, static_cast<std::size_t>(m_count - into)};
}

void ReadWindow::_fill(int fd, std::int64_t position)
{
    m_count = 0;
    const auto ahead = static_cast<std::size_t>(std::min(size, 2 * (position - m_sequenceStart)));
    try {
        m_bytes.reserve(ahead);
    } catch (const std::bad_alloc&) {
        return; // the step reads its chunk itself
    }
    iovec piece{m_bytes.data(), ahead};
    m_start = position;
    m_count = readPieces(fd, &piece, 1, position).bytes;
}

} // namespace zd
