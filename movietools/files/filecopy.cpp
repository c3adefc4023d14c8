#include <movietools/files/filecopy_p.h>

#include <movietools/job/joberror.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

constexpr std::int64_t blockBytes = std::int64_t{1} << 20;

} // namespace

FileCopy::FileCopy(const QString& workPath, const QString& path)
    : m_path(path), m_file(Descriptor::openFile(workPath.toUtf8(), O_WRONLY))
{
    if (m_file.get() < 0)
        throw systemError(path, QStringLiteral("written"), errno);
}

void FileCopy::append(int source, const QString& sourcePath, std::int64_t offset, std::int64_t length)
{
    while (length > 0) {
        std::int64_t copied = m_within ? copyWithin(source, offset, length) : 0;
        if (copied == 0)
            copied = copyThrough(source, sourcePath, offset, length);
        offset += copied;
        length -= copied;
    }
}

// 0 where the system does not copy between these files.
std::int64_t FileCopy::copyWithin(int source, std::int64_t offset, std::int64_t length)
{
    off_t from = offset;
    const ssize_t copied = ::copy_file_range(source, &from, m_file.get(), nullptr, static_cast<std::size_t>(length), 0);
    if (copied > 0)
        return copied;
    if (copied < 0 && (errno == ENOSPC || errno == EFBIG || errno == EDQUOT))
        throw systemError(m_path, QStringLiteral("written"), errno);
    m_within = false;
    return 0;
}

std::int64_t FileCopy::copyThrough(int source, const QString& sourcePath, std::int64_t offset, std::int64_t length)
{
    std::vector<char> block(static_cast<std::size_t>(std::min(length, blockBytes)));
    const ssize_t got = ::pread(source, block.data(), block.size(), offset);
    if (got < 0)
        throw systemError(sourcePath, QStringLiteral("read"), errno);
    if (got == 0)
        refuse(sourcePath, QStringLiteral("became shorter while it was read"), QStringLiteral("try again"));
    if (!m_file.write(block.data(), static_cast<std::size_t>(got)))
        throw systemError(m_path, QStringLiteral("written"), errno);
    return got;
}

} // namespace zd::movietools
