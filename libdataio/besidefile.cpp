#include <libdataio/besidefile_p.h>

#include <common/iofileexception.h>
#include <libdataio/chunkheader.h>
#include <libdataio/filelock_p.h>
#include <libdataio/report_p.h>

#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <optional>

#include <fcntl.h>
#include <unistd.h>

namespace zd {

QString besidePath(const QString& movie, const QString& suffix)
{
    // A system call would see another path, one that ends before the null character.
    if (movie.contains(QChar::Null))
        return {};
    const QString resolved = QFileInfo(movie).canonicalFilePath();
    return (resolved.isEmpty() ? movie : resolved) + suffix;
}

bool isOurs(int fd, const QByteArray& mark, const QString& movie)
{
    struct stat file {};
    if (systemCalls.fstat(fd, &file) == -1)
        ChunkHeaderBase::reportReadFailure(errno);
    if (!S_ISREG(file.st_mode) || bytesAt(fd, 0, mark.size()) != mark)
        return false;
    struct stat owned {};
    return file.st_uid == geteuid() ||
           (systemCalls.stat(report::systemPath(movie).constData(), &owned) == 0 && file.st_uid == owned.st_uid);
}

void removeBeside(const QByteArray& path, const QByteArray& mark, const QString& movie)
{
    const Descriptor file(openFile(path.constData(), O_RDWR | O_NOFOLLOW | O_NONBLOCK, 0));
    try {
        if (file && isOurs(file.get(), mark, movie))
            remove(path, file.get(), mark);
    } catch (const IOFileException&) {
        // Whose it is cannot be read: it stays.
    }
}

void remove(const QByteArray& path, int fd, const QByteArray& mark) noexcept
{
    const std::optional<FileIdentity> file = identityOf(fd);
    if (file && !leadsTo(path.constData(), *file))
        return;
    // A second attempt helps where the first one met a passing trouble.
    if (systemCalls.unlink(path.constData()) == -1 && systemCalls.unlink(path.constData()) == -1)
        truncateFile(fd, mark.size());
}

std::int64_t lengthOf(int fd)
{
    const std::int64_t length = fileLength(fd);
    if (length == -1)
        ChunkHeaderBase::reportReadFailure(errno);
    return length;
}

QByteArray bytesAt(int fd, std::int64_t offset, std::int64_t length)
{
    const std::int64_t held = lengthOf(fd);
    if (offset < 0 || length <= 0 || offset >= held)
        return {};
    QByteArray bytes(std::min(length, held - offset), Qt::Uninitialized);
    iovec piece{bytes.data(), static_cast<std::size_t>(bytes.size())};
    const Transfer transfer = readPieces(fd, &piece, 1, offset);
    // Less than the file holds is a failure: what is missing would count as never having been there.
    if (transfer.bytes != bytes.size())
        ChunkHeaderBase::reportReadFailure(transfer.error == 0 ? EIO : transfer.error);
    return bytes;
}

Transfer writeBytesAt(int fd, std::int64_t offset, const QByteArray& bytes)
{
    iovec piece{const_cast<char*>(bytes.constData()), static_cast<std::size_t>(bytes.size())};
    return writePieces(fd, &piece, 1, offset);
}

bool settle(int fd)
{
    return syncFile(fd) == 0 || (errno != EIO && errno != ENOSPC && errno != EDQUOT);
}

QByteArray folderOf(const QByteArray& path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash < 0 ? QByteArray(".") : path.left(slash + 1);
}

void syncDirectoryOf(const QByteArray& path)
{
    const Descriptor fd(openFile(folderOf(path).constData(), O_RDONLY | O_DIRECTORY, 0));
    if (fd)
        syncFile(fd.get());
}

} // namespace zd
