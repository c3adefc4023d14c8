#include <movietools/files/plainoutput.h>

#include <movietools/files/bytesource.h>
#include <movietools/job/joberror.h>

#include <cerrno>

#include <fcntl.h>

namespace zd::movietools {

PlainOutput::PlainOutput(const QString& path, bool replace, const QStringList& inputs)
    : m_file(path, replace ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse, inputs),
      m_descriptor(Descriptor::openFile(m_file.workPath().toUtf8(), O_WRONLY))
{
    if (m_descriptor.get() < 0)
        throw systemError(path, QStringLiteral("written"), errno);
}

void PlainOutput::write(const void* data, std::size_t size)
{
    if (!m_descriptor.write(data, size))
        throw systemError(m_file.path(), QStringLiteral("written"), errno);
    m_written += size;
}

void PlainOutput::close()
{
    if (!m_descriptor.close())
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
