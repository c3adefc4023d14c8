#include <movietools/files/plainoutput.h>

#include <movietools/files/bytesource.h>
#include <movietools/job/joberror.h>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace zd::movietools {

PlainOutput::PlainOutput(const QString& path, bool replace, const QStringList& inputs)
    : m_file(path, replace ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse, inputs),
      m_fd(::open(m_file.workPath().toUtf8().constData(), O_WRONLY | O_CLOEXEC))
{
    if (m_fd < 0)
        throw systemError(path, QStringLiteral("written"), errno);
}

PlainOutput::~PlainOutput()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

void PlainOutput::write(const void* data, std::size_t size)
{
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t done = ::write(m_fd, next, size);
        if (done < 0 && errno == EINTR)
            continue;
        if (done < 0)
            throw systemError(m_file.path(), QStringLiteral("written"), errno);
        next += done;
        size -= static_cast<std::size_t>(done);
        m_written += static_cast<std::size_t>(done);
    }
}

void PlainOutput::close()
{
    if (::close(std::exchange(m_fd, -1)) != 0)
        throw systemError(m_file.path(), QStringLiteral("written"), errno);
    if (lengthOfFile(m_file.workPath()) != m_written)
        refuse(m_file.path(), QStringLiteral("was not written whole"), QStringLiteral("write it elsewhere"));
}

std::uint64_t PlainOutput::commit()
{
    m_file.commit();
    return m_written;
}

} // namespace zd::movietools
