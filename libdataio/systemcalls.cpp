#include <libdataio/systemcalls_p.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace zd {

static_assert(sizeof(off_t) == 8, "file positions have 64 bits");

namespace {

int openFile64(const char* path, int flags, mode_t mode)
{
    return ::open(path, flags, mode);
}

int duplicateAbove(int fd, int lowest)
{
    return ::fcntl(fd, F_DUPFD_CLOEXEC, lowest);
}

int linkWhatItLeadsTo(const char* from, const char* to)
{
    return ::linkat(AT_FDCWD, from, AT_FDCWD, to, AT_SYMLINK_FOLLOW);
}

int renameToNew(const char* from, const char* to)
{
    const int result = ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
    const bool unknown = result == -1 && (errno == EINVAL || errno == ENOSYS);
    return unknown ? ::rename(from, to) : result;
}

template <typename Call>
auto repeatInterrupted(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

/// Moves the pieces past `bytes` that were transferred; returns the first piece with something left.
int skipTransferred(iovec* pieces, int count, std::size_t bytes)
{
    int first = 0;
    while (first < count && bytes >= pieces[first].iov_len)
        bytes -= pieces[first++].iov_len;
    if (first < count) {
        pieces[first].iov_base = static_cast<char*>(pieces[first].iov_base) + bytes;
        pieces[first].iov_len -= bytes;
    }
    return first;
}

/// Carries a transfer of pieces on until all are moved, an error, or a call that moves nothing.
template <typename Call>
Transfer transferPieces(iovec* pieces, int count, Call call)
{
    Transfer transfer;
    int first = skipTransferred(pieces, count, 0);
    while (first < count) {
        const ssize_t moved = repeatInterrupted([&] { return call(pieces + first, count - first, transfer.bytes); });
        if (moved == -1)
            transfer.error = errno;
        if (moved <= 0)
            break;
        transfer.bytes += moved;
        first += skipTransferred(pieces + first, count - first, static_cast<std::size_t>(moved));
    }
    return transfer;
}

/// A write that moved less than asked without an error ran out of room.
Transfer completed(Transfer transfer, std::int64_t asked)
{
    if (transfer.bytes < asked && transfer.error == 0)
        transfer.error = ENOSPC;
    return transfer;
}

std::int64_t totalLength(const iovec* pieces, int count)
{
    std::int64_t total = 0;
    for (int i = 0; i < count; ++i)
        total += static_cast<std::int64_t>(pieces[i].iov_len);
    return total;
}

} // namespace

SystemCalls systemCalls = {
    .open = openFile64,
    .duplicateAbove = duplicateAbove,
    .stat = ::stat,
    .fstat = ::fstat,
    .fstatfs = ::fstatfs,
    .read = ::read,
    .write = ::write,
    .preadv = ::preadv,
    .pwritev = ::pwritev,
    .lseek = ::lseek,
    .ftruncate = ::ftruncate,
    .fallocate = ::fallocate,
    .fdatasync = ::fdatasync,
    .flock = ::flock,
    .close = ::close,
    .link = linkWhatItLeadsTo,
    .rename = renameToNew,
    .unlink = ::unlink,
    .fsetxattr = ::fsetxattr,
    .fgetxattr = ::fgetxattr,
    .fremovexattr = ::fremovexattr,
};

Transfer readWhole(int fd, void* buffer, std::size_t size)
{
    iovec piece{buffer, size};
    return transferPieces(&piece, 1, [fd](const iovec* rest, int, std::int64_t) {
        return systemCalls.read(fd, rest->iov_base, rest->iov_len);
    });
}

Transfer writeWhole(int fd, const void* buffer, std::size_t size)
{
    iovec piece{const_cast<void*>(buffer), size};
    const Transfer transfer = transferPieces(&piece, 1, [fd](const iovec* rest, int, std::int64_t) {
        return systemCalls.write(fd, rest->iov_base, rest->iov_len);
    });
    return completed(transfer, static_cast<std::int64_t>(size));
}

Transfer readPieces(int fd, iovec* pieces, int count, std::int64_t offset)
{
    return transferPieces(pieces, count, [fd, offset](const iovec* rest, int left, std::int64_t done) {
        return systemCalls.preadv(fd, rest, left, offset + done);
    });
}

Transfer writePieces(int fd, iovec* pieces, int count, std::int64_t offset)
{
    const std::int64_t asked = totalLength(pieces, count);
    const Transfer transfer =
        transferPieces(pieces, count, [fd, offset](const iovec* rest, int left, std::int64_t done) {
            return systemCalls.pwritev(fd, rest, left, offset + done);
        });
    return completed(transfer, asked);
}

int openFile(const char* path, int flags, mode_t mode)
{
    const int fd = repeatInterrupted([=] { return systemCalls.open(path, flags | O_CLOEXEC, mode); });
    if (fd < 0 || fd > STDERR_FILENO)
        return fd;
    // A program that closed its standard streams must not find the movie under their numbers.
    const int above = systemCalls.duplicateAbove(fd, STDERR_FILENO + 1);
    const int error = errno;
    systemCalls.close(fd);
    errno = error;
    return above;
}

int truncateFile(int fd, std::int64_t length)
{
    return repeatInterrupted([=] { return systemCalls.ftruncate(fd, length); });
}

int syncFile(int fd)
{
    return repeatInterrupted([=] { return systemCalls.fdatasync(fd); });
}

int reserveBlocks(int fd, std::int64_t offset, std::int64_t length)
{
    return repeatInterrupted([=] { return systemCalls.fallocate(fd, FALLOC_FL_KEEP_SIZE, offset, length); });
}

int lockFile(int fd)
{
    return repeatInterrupted([=] { return systemCalls.flock(fd, LOCK_EX | LOCK_NB); });
}

std::int64_t fileLength(int fd)
{
    struct stat status {};
    return systemCalls.fstat(fd, &status) == 0 ? status.st_size : -1;
}

} // namespace zd
