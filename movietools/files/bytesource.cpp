#include <movietools/files/bytesource.h>

#include <movietools/job/joberror.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

namespace zd::movietools {

namespace {

// Copies what of `piece`, which lies at `pieceOffset`, falls into the `size` bytes that `buffer` holds from `offset` on.
void copyOverlap(const QByteArray& piece, std::int64_t pieceOffset, char* buffer, std::int64_t offset,
                 std::int64_t size)
{
    const std::int64_t begin = std::max(pieceOffset, offset);
    const std::int64_t end = std::min<std::int64_t>(pieceOffset + piece.size(), offset + size);
    if (begin < end)
        std::memcpy(buffer + (begin - offset), piece.constData() + (begin - pieceOffset),
                    static_cast<std::size_t>(end - begin));
}

} // namespace

ByteSource::~ByteSource() = default;

QByteArray ByteSource::bytes(std::int64_t offset, std::int64_t size) const
{
    const std::int64_t held = offset < length() ? std::min(size, length() - offset) : 0;
    QByteArray bytes(std::max<std::int64_t>(held, 0), Qt::Uninitialized);
    bytes.truncate(read(offset, bytes.data(), bytes.size()));
    return bytes;
}

FileBytes::FileBytes(const QString& path, const QString& advice)
    : m_path(path),
      // A pipe must not make the program wait for somebody at its other end.
      m_file(Descriptor::openFile(path.toUtf8(), O_RDONLY | O_NONBLOCK | O_NOCTTY))
{
    if (m_file.get() < 0)
        throw systemError(path, QStringLiteral("read"), errno);
    struct stat status {};
    if (::fstat(m_file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        refuse(path, QStringLiteral("is not a regular file"), advice);
    m_length = status.st_size;
}

std::int64_t FileBytes::read(std::int64_t offset, char* buffer, std::int64_t size) const
{
    const std::int64_t got = readFile(offset, buffer, size);
    auto piece = m_overlays.upper_bound(offset);
    if (piece != m_overlays.begin())
        --piece;
    for (; piece != m_overlays.end() && piece->first < offset + got; ++piece)
        copyOverlap(piece->second, piece->first, buffer, offset, got);
    return got;
}

std::int64_t FileBytes::readFile(std::int64_t offset, char* buffer, std::int64_t size) const
{
    const std::int64_t got = m_file.readAt(offset, buffer, size);
    if (got < 0)
        throw systemError(m_path, QStringLiteral("read"), errno);
    if (got < std::min(size, m_length - offset))
        refuse(m_path, QStringLiteral("gave less than the file holds: it was cut short meanwhile, or the disk fails"),
               QStringLiteral("leave it alone while it is read, and try again"));
    return got;
}

void FileBytes::overlay(std::int64_t offset, const QByteArray& bytes)
{
    m_overlays[offset] = bytes;
}

std::int64_t MemoryBytes::read(std::int64_t offset, char* buffer, std::int64_t size) const
{
    const std::int64_t got = std::clamp<std::int64_t>(m_bytes.size() - offset, 0, size);
    copyOverlap(m_bytes, 0, buffer, offset, got);
    return got;
}

std::uint64_t lengthOfFile(const QString& path)
{
    struct stat status {};
    if (::stat(path.toUtf8().constData(), &status) != 0)
        throw systemError(path, QStringLiteral("read"), errno);
    return static_cast<std::uint64_t>(status.st_size);
}

} // namespace zd::movietools
