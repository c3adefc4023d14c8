#include <libdataio/filereserve_p.h>

#include <libdataio/systemcalls_p.h>

#include <algorithm>
#include <cerrno>

#include <linux/magic.h>

namespace zd {

namespace {

/// Whether a reserve is cheap and harmless there. A file system in memory would fill it with pages at once.
bool welcomesReserve(int fd)
{
    struct statfs system {};
    if (systemCalls.fstatfs(fd, &system) == -1 || system.f_type == TMPFS_MAGIC || system.f_bsize <= 0)
        return false;
    const auto blocks = static_cast<std::uint64_t>(FileReserve::smallestRoom / system.f_bsize);
    return system.f_bavail > blocks;
}

} // namespace

int FileReserve::demand(int fd, std::int64_t start, std::int64_t bytes)
{
    m_held = true; // of a failed call, too, a part may stay
    if (reserveBlocks(fd, start, bytes) == -1)
        return errno;
    m_end = std::max(m_end, start + bytes);
    return 0;
}

void FileReserve::cutAt(std::int64_t end)
{
    m_end = std::min(m_end, end);
    m_held = false;
}

void FileReserve::giveBack(int fd)
{
    const std::int64_t length = m_held ? fileLength(fd) : -1;
    if (length >= 0 && truncateFile(fd, length) == 0)
        cutAt(length);
}

void FileReserve::_grow(int fd, std::int64_t start, std::int64_t end)
{
    const std::int64_t length = fileLength(fd);
    if (length >= end) {
        m_end = length;
        return;
    }
    m_useful = length >= 0 && welcomesReserve(fd);
    if (!m_useful)
        return;
    const std::int64_t from = std::max(start, length);
    const std::int64_t until = std::max(end, from + step);
    m_useful = demand(fd, from, until - from) == 0;
    if (!m_useful)
        giveBack(fd);
}

} // namespace zd
