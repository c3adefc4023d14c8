#include <libdataio/filelock_p.h>

#include <libdataio/systemcalls_p.h>

#include <QByteArray>
#include <QtGlobal>

#include <cerrno>
#include <utility>

#include <sys/file.h>
#include <unistd.h>

namespace zd {

namespace {

FileIdentity identityIn(const struct stat& status)
{
    return {status.st_dev, status.st_ino};
}

} // namespace

LockedFile refused(LockedFile file, int error)
{
    file.lock.release();
    systemCalls.close(file.fd);
    errno = error;
    return {};
}

std::optional<FileIdentity> identityOf(int fd)
{
    struct stat status {};
    return systemCalls.fstat(fd, &status) == 0 ? std::optional(identityIn(status)) : std::nullopt;
}

bool leadsTo(const char* path, const FileIdentity& file)
{
    struct stat status {};
    if (systemCalls.stat(path, &status) == -1)
        return errno != ENOENT;
    return identityIn(status) == file;
}

bool processLocks()
{
    return qgetenv("DATAIO_LOCKING") != "0";
}

FileLock::FileLock(FileLock&& other) noexcept
    : m_fd(std::exchange(other.m_fd, -1)), m_process(std::exchange(other.m_process, 0))
{
}

FileLock& FileLock::operator=(FileLock&& other) noexcept
{
    std::swap(m_fd, other.m_fd);
    std::swap(m_process, other.m_process);
    return *this;
}

FileLock::Attempt FileLock::attempt(int fd)
{
    if (lockFile(fd) == -1)
        return errno == EWOULDBLOCK ? Attempt::Busy : Attempt::NoLocks;
    m_fd = fd;
    m_process = getpid();
    return Attempt::Held;
}

void FileLock::release() noexcept
{
    // A child that drops its copy must not unlock what its parent has locked.
    if (isHeld() && m_process == getpid())
        systemCalls.flock(m_fd, LOCK_UN);
    m_fd = -1;
}

LockedFile openLocked(const char* path, int flags, mode_t mode, const std::optional<FileIdentity>& lockedAlready)
{
    // Whoever replaces a movie over and over again counts as busy.
    for (int attempts = 0; attempts < 100; ++attempts) {
        LockedFile file{openFile(path, flags, mode), {}};
        if (file.fd == -1)
            return file;
        struct stat status {};
        if (systemCalls.fstat(file.fd, &status) == -1)
            return refused(std::move(file), errno);
        if (!S_ISREG(status.st_mode) || identityIn(status) == lockedAlready)
            return file;
        const FileLock::Attempt attempt = file.lock.attempt(file.fd);
        if (attempt == FileLock::Attempt::Busy)
            return refused(std::move(file), EBUSY);
        if (attempt == FileLock::Attempt::NoLocks || leadsTo(path, identityIn(status)))
            return file;
        refused(std::move(file), EBUSY);
    }
    return {};
}

} // namespace zd
