#include <libdataio/filereader.h>

#include <libdataio/fdchunkreader.h>
#include <libdataio/payloadreader_p.h>
#include <libdataio/report_p.h>
#include <libdataio/systemcalls_p.h>

#include <cerrno>

#include <fcntl.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.filereader"));

[[noreturn]] void reportFile(const char* code, const QString& path, int error, const LocationInfo& location)
{
    report::fail(logger, File, code, QStringLiteral("File ") + path + QStringLiteral(" : ") + report::systemText(error),
                 location);
}

[[noreturn]] void reportNotRegular(const QString& path, const LocationInfo& location)
{
    report::fail(logger, File, "FR_OF_REGFILE", path + QStringLiteral(" is not a regular file."), location);
}

} // namespace

FileReader::FileReader() = default;
FileReader::~FileReader() = default;

void FileReader::openFile(const QString& path)
{
    m_reader.reset();
    if (path.contains(QChar::Null))
        reportFile("FR_OF_STAT", path, EINVAL, DATAIO_HERE);
    const QByteArray systemPath = report::systemPath(path);
    struct stat status {};
    if (systemCalls.stat(systemPath.constData(), &status) == -1)
        reportFile("FR_OF_STAT", path, errno, DATAIO_HERE);
    if (!S_ISREG(status.st_mode))
        reportNotRegular(path, DATAIO_HERE);

    auto reader = std::make_unique<FDChunkReader>();
    // Another file may have taken the path since: opening it must neither wait nor be taken for a movie.
    const int fd = zd::openFile(systemPath.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY, 0);
    if (fd == -1)
        reportFile("FR_OF_OPEN", path, errno, DATAIO_HERE);
    reader->setFD(fd);
    reader->setOffsetShared(false);
    reader->setPayloadLimit(m_payloadLimit);
    if (systemCalls.fstat(fd, &status) == -1)
        reportFile("FR_OF_STAT", path, errno, DATAIO_HERE);
    if (!S_ISREG(status.st_mode))
        reportNotRegular(path, DATAIO_HERE);
    m_reader = std::move(reader);
}

void FileReader::closeFile()
{
    m_reader.reset();
}

bool FileReader::openned() const
{
    return m_reader && m_reader->openned();
}

bool FileReader::rewind()
{
    return m_reader && m_reader->rewind();
}

bool FileReader::seekEnd()
{
    return m_reader && m_reader->seekEnd();
}

bool FileReader::nextChunk(unsigned int type)
{
    return m_reader && m_reader->nextChunk(type);
}

bool FileReader::nextChunk(unsigned int type, void* target, std::size_t size)
{
    return m_reader && m_reader->nextChunk(type, target, size);
}

bool FileReader::prevChunk(unsigned int type)
{
    return m_reader && m_reader->prevChunk(type);
}

std::unique_ptr<PayloadReader> FileReader::nextPayload(unsigned int type)
{
    return m_reader ? m_reader->nextPayload(type) : nullptr;
}

std::unique_ptr<PayloadReader> FileReader::prevPayload(unsigned int type)
{
    return m_reader ? m_reader->prevPayload(type) : nullptr;
}

void FileReader::setPayloadLimit(std::uint32_t bytes)
{
    m_payloadLimit = bytes;
    if (m_reader)
        m_reader->setPayloadLimit(bytes);
}

const void* FileReader::data() const
{
    // A reader without a file has no data, and says so.
    return m_reader ? m_reader->data() : FDChunkReader().data();
}

int FileReader::chunkSize()
{
    return m_reader ? m_reader->chunkSize() : -1;
}

bool FileReader::seek(int position)
{
    return m_reader && m_reader->seek(static_cast<unsigned int>(position));
}

bool FileReader::seek(int position, unsigned int expectedSize)
{
    return m_reader && m_reader->seek(static_cast<unsigned int>(position), expectedSize);
}

} // namespace zd
