#pragma once

#include <cstdint>
#include <optional>

#include <sys/types.h>

namespace zd {

/// Which file it is, whatever its name.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0; ///< of its inode

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// The file open on a descriptor; nothing, with errno, when the system does not tell.
std::optional<FileIdentity> identityOf(int fd);
/// Whether a path leads to that file. A system that does not tell counts as yes: only another file counts as no.
bool leadsTo(const char* path, const FileIdentity& file);

/// Whether this process locks files. The environment variable DATAIO_LOCKING, set to 0, turns that off.
bool processLocks();

/// An advisory lock on an open file. It is this process's: a copy of the descriptor in a child that was forked neither
/// keeps it nor ends it. Never waits.
class FileLock {
public:
    enum class Attempt {
        Held,
        Busy,    ///< somebody else holds the file
        NoLocks, ///< the file system knows no locks, or does not answer
    };

    FileLock() = default;
    FileLock(FileLock&& other) noexcept;
    FileLock& operator=(FileLock&& other) noexcept;
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock() { release(); }

    Attempt attempt(int fd);
    bool isHeld() const { return m_fd != -1; }
    /// Before the descriptor is closed.
    void release() noexcept;

private:
    int m_fd = -1; // borrowed
    pid_t m_process = 0;
};

/// A file that was opened by its name; -1 with errno when it was not.
struct LockedFile {
    int fd = -1;
    FileLock lock;
};

/// Closes a file that was opened in vain: nothing is open, and errno says why.
LockedFile refused(LockedFile file, int error);

/// Opens a file and locks it before anything else happens to it. The name still leads to the file that is locked then: one
/// that was put in its place meanwhile is taken instead. Fails with EBUSY when somebody else holds it. No regular file is
/// locked, and none is that `lockedAlready` names.
LockedFile openLocked(const char* path, int flags, mode_t mode,
                      const std::optional<FileIdentity>& lockedAlready = std::nullopt);

} // namespace zd
