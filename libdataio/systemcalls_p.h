#pragma once

#include <cstddef>
#include <cstdint>

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <sys/vfs.h>

namespace zd {

/// Every call that the library makes of the operating system on files. Tests replace entries to make the
/// n-th call fail; nothing else changes the table.
struct SystemCalls {
    int (*open)(const char* path, int flags, mode_t mode);
    int (*duplicateAbove)(int fd, int lowest); ///< a close-on-exec duplicate, numbered `lowest` or higher
    int (*stat)(const char* path, struct stat* out);
    int (*fstat)(int fd, struct stat* out);
    int (*fstatfs)(int fd, struct statfs* out);
    ssize_t (*read)(int fd, void* buffer, std::size_t size);
    ssize_t (*write)(int fd, const void* buffer, std::size_t size);
    ssize_t (*preadv)(int fd, const iovec* pieces, int count, off_t offset);
    ssize_t (*pwritev)(int fd, const iovec* pieces, int count, off_t offset);
    off_t (*lseek)(int fd, off_t offset, int whence);
    int (*ftruncate)(int fd, off_t length);
    int (*fallocate)(int fd, int mode, off_t offset, off_t length);
    int (*fdatasync)(int fd);
    int (*flock)(int fd, int operation);
    int (*close)(int fd);
    int (*link)(const char* from, const char* to);   ///< a second name for what `from` leads to; `to` must be new
    int (*rename)(const char* from, const char* to); ///< `to` must be new, where the file system can see to that
    int (*unlink)(const char* path);
    int (*fsetxattr)(int fd, const char* name, const void* value, std::size_t size, int flags);
    ssize_t (*fgetxattr)(int fd, const char* name, void* value, std::size_t size);
    int (*fremovexattr)(int fd, const char* name);
};

/// The table in use.
extern SystemCalls systemCalls;

/// What became of a transfer of bytes: how many were moved, and the error that stopped it early (0 when it
/// was complete, and when a read met the end of the file).
struct Transfer {
    std::int64_t bytes = 0;
    int error = 0;
};

// Whole transfers: interrupted calls are repeated and partial ones carried on until they end or fail. One
// system call each in the normal case. A write that moves nothing without an error counts as a full disk.
Transfer readWhole(int fd, void* buffer, std::size_t size);
Transfer writeWhole(int fd, const void* buffer, std::size_t size);
/// Up to four pieces; the array is changed.
Transfer readPieces(int fd, iovec* pieces, int count, std::int64_t offset);
Transfer writePieces(int fd, iovec* pieces, int count, std::int64_t offset);

/// Opens a file close-on-exec on a descriptor above the standard ones; -1 with errno on failure.
int openFile(const char* path, int flags, mode_t mode);

/// Calls that are repeated when interrupted.
int truncateFile(int fd, std::int64_t length);
int syncFile(int fd);
/// Blocks for `length` bytes from `offset` on; the file keeps its length.
int reserveBlocks(int fd, std::int64_t offset, std::int64_t length);
/// Locks the whole file against others that lock it, without waiting; the lock ends with the descriptor.
int lockFile(int fd);
/// Length of the file in bytes; -1 with errno on failure.
std::int64_t fileLength(int fd);

} // namespace zd
