#include <libdataio/movielock_p.h>

#include <libdataio/report_p.h>
#include <libdataio/systemcalls_p.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include <fcntl.h>

namespace zd {

namespace {

/// For writing, which locks on network file systems need; else for reading, which others do with.
LockedFile openAnyhow(const char* path)
{
    LockedFile file = openLocked(path, O_RDWR | O_NONBLOCK, 0);
    constexpr int refusals[] = {EACCES, EPERM, EROFS, ETXTBSY};
    if (file.fd == -1 && std::find(std::begin(refusals), std::end(refusals), errno) != std::end(refusals))
        file = openLocked(path, O_RDONLY | O_NONBLOCK, 0);
    return file;
}

} // namespace

MovieLock::State::~State()
{
    file.lock.release();
    if (file.fd != -1)
        systemCalls.close(file.fd);
}

MovieLock::MovieLock() = default;
MovieLock::MovieLock(MovieLock&& other) noexcept = default;
MovieLock& MovieLock::operator=(MovieLock&& other) noexcept = default;
MovieLock::~MovieLock() = default;

std::optional<MovieLock> MovieLock::tryLock(const QString& path)
{
    MovieLock lock;
    if (path.contains(QChar::Null) || !processLocks())
        return lock;
    const auto state = std::make_shared<State>();
    state->file = openAnyhow(report::systemPath(path).constData());
    if (state->file.fd == -1)
        return errno == EBUSY ? std::nullopt : std::optional(std::move(lock));
    const std::optional<FileIdentity> movie = identityOf(state->file.fd);
    if (state->file.lock.isHeld() && movie) {
        state->movie = *movie;
        lock.m_state = state;
    }
    return lock;
}

bool MovieLock::isHeld() const
{
    return m_state != nullptr;
}

std::optional<FileIdentity> HeldLock::keep()
{
    m_kept = m_lender.lock();
    return m_kept ? std::optional(m_kept->movie) : std::nullopt;
}

std::optional<FileIdentity> HeldLock::movieOf(const MovieLock& lock)
{
    return lock.m_state ? std::optional(lock.m_state->movie) : std::nullopt;
}

} // namespace zd
