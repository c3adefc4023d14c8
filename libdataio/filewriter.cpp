#include <libdataio/filewriter.h>

#include <libdataio/fdchunkwriter.h>
#include <libdataio/filelock_p.h>
#include <libdataio/report_p.h>
#include <libdataio/systemcalls_p.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fcntl.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.filewriter"));

constexpr mode_t ownerOnly = 0600;

[[noreturn]] void reportNotOpened(const QString& path, bool create, int error)
{
    report::fail(logger, System, create ? "FW_OF_OPEN" : "FW_OF_OPEN2",
                 QStringLiteral("File ") + path + QStringLiteral(" : ") + report::systemText(error),
                 DATAIO_HERE_IN("void zd::FileWriter::openFile(const QString&, FileWriterMode, bool)"));
}

/// Empties a file; other than regular ones have nothing to discard.
bool discardContent(int fd)
{
    struct stat status {};
    if (systemCalls.fstat(fd, &status) == -1)
        return false;
    return !S_ISREG(status.st_mode) || truncateFile(fd, 0) == 0;
}

/// Nothing is discarded before it is certain that nobody else writes the file.
LockedFile openToWrite(const char* path, bool create, const std::optional<FileIdentity>& lockedAlready)
{
    LockedFile file = openLocked(path, O_RDWR | O_CREAT, ownerOnly, lockedAlready);
    return file.fd == -1 || !create || discardContent(file.fd) ? std::move(file) : refused(std::move(file), errno);
}

LockedFile openUnlocked(const char* path, bool create)
{
    return {zd::openFile(path, O_RDWR | O_CREAT | (create ? O_TRUNC : 0), ownerOnly), {}};
}

} // namespace

FileWriter::FileWriter() = default;
FileWriter::~FileWriter() = default;

void FileWriter::openFile(const QString& path, FileWriterMode mode, bool locked)
{
    _open(path, mode, locked, std::nullopt);
}

void FileWriter::_open(const QString& path, FileWriterMode mode, bool locked,
                       const std::optional<FileIdentity>& lockedAlready)
{
    m_writer.reset();
    m_openResult = -1;
    auto writer = std::make_unique<FDChunkWriter>();
    const QByteArray systemPath = report::systemPath(path);
    const bool create = mode == FileWriterCreate;
    LockedFile file;
    if (path.contains(QChar::Null))
        errno = EINVAL;
    else
        file = locked ? openToWrite(systemPath.constData(), create, lockedAlready)
                      : openUnlocked(systemPath.constData(), create);
    m_openResult = file.fd;
    if (m_openResult == -1)
        reportNotOpened(path, create, errno);
    writer->setFD(m_openResult);
    writer->_keepLock(std::move(file.lock));
    writer->setOffsetShared(false);
    m_writer = std::move(writer);
}

void FileWriter::_reportBusy(const QString& path, FileWriterMode mode)
{
    reportNotOpened(path, mode == FileWriterCreate, EBUSY);
}

void FileWriter::closeFile()
{
    m_writer.reset();
}

bool FileWriter::openned() const
{
    return m_writer && m_writer->openned();
}

int FileWriter::addChunk(unsigned int type, const void* data, unsigned int size)
{
    _requireOpen();
    return m_writer->addChunk(type, data, size);
}

void FileWriter::truncate()
{
    _requireOpen();
    m_writer->truncateFile();
}

bool FileWriter::nextChunk(unsigned int type)
{
    return m_writer && m_writer->nextChunk(type);
}

bool FileWriter::prevChunk(unsigned int type)
{
    return m_writer && m_writer->prevChunk(type);
}

bool FileWriter::seek(unsigned int position)
{
    return m_writer && m_writer->seek(position);
}

bool FileWriter::seekEnd()
{
    return m_writer && m_writer->seekEnd();
}

bool FileWriter::seekPrev()
{
    return m_writer && m_writer->seekPrev();
}

const void* FileWriter::data() const
{
    return m_writer ? m_writer->data() : nullptr;
}

int FileWriter::chunkSize() const
{
    return m_writer ? m_writer->chunkSize() : 0;
}

bool FileWriter::isPayloadWhole() const
{
    return !m_writer || m_writer->isPayloadWhole();
}

void FileWriter::dumpDebug() const
{
    if (m_writer)
        m_writer->dumpDebug();
    else
        std::printf("writer = %p\n", static_cast<void*>(nullptr));
    std::printf("fd = %u\n", static_cast<unsigned int>(m_openResult));
}

unsigned int FileWriter::offset() const
{
    return m_writer ? m_writer->offset() : 0;
}

int FileWriter::descriptor() const
{
    return m_writer ? m_writer->descriptor() : -1;
}

void FileWriter::requireChunk(unsigned int position, unsigned int type, unsigned int size)
{
    _requireOpen();
    m_writer->requireChunk(position, type, size);
}

void FileWriter::reserve(std::int64_t bytes)
{
    _requireOpen();
    m_writer->reserve(bytes);
}

bool FileWriter::sync()
{
    return m_writer && syncFile(m_writer->descriptor()) == 0;
}

void FileWriter::_requireOpen() const
{
    if (!m_writer)
        FDChunkWriter::reportNotOpen();
}

} // namespace zd
