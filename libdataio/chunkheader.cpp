#include <libdataio/chunkheader.h>

#include <libdataio/report_p.h>
#include <libdataio/systemcalls_p.h>

#include <QtEndian>

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.chunkheader"));

// A header as it lies in a file: kind mark, type, size, closing mark.
constexpr char startTemplate[] = "\n<CSTA        >\n";
constexpr char endTemplate[] = "\n<CEND        >\n";
constexpr std::size_t typeAt = 6;
constexpr std::size_t sizeAt = 10;
constexpr std::size_t closingMarkAt = 14;
static_assert(sizeof startTemplate == ChunkHeaderBase::encodedSize + 1);
static_assert(sizeof endTemplate == ChunkHeaderBase::encodedSize + 1);

} // namespace

ChunkHeaderBase::~ChunkHeaderBase() = default;

const char* ChunkStartHeader::headerTemplate() const
{
    return startTemplate;
}

const char* ChunkEndHeader::headerTemplate() const
{
    return endTemplate;
}

void ChunkHeaderBase::encode(char* out) const
{
    std::memcpy(out, headerTemplate(), encodedSize);
    qToBigEndian(m_type, out + typeAt);
    qToBigEndian(m_size, out + sizeAt);
}

bool ChunkHeaderBase::decode(const char* bytes)
{
    const char* marks = headerTemplate();
    if (std::memcmp(bytes, marks, typeAt) != 0
        || std::memcmp(bytes + closingMarkAt, marks + closingMarkAt, encodedSize - closingMarkAt) != 0)
        return false;
    m_type = qFromBigEndian<quint32>(bytes + typeAt);
    m_size = qFromBigEndian<quint32>(bytes + sizeAt);
    return true;
}

bool ChunkHeaderBase::loadFD(int fd)
{
    char bytes[encodedSize];
    const Transfer transfer = readWhole(fd, bytes, sizeof bytes);
    if (transfer.bytes == 0 && transfer.error == 0)
        return false;
    if (transfer.bytes != static_cast<std::int64_t>(sizeof bytes))
        reportReadFailure(transfer.error);
    if (!decode(bytes))
        reportParseFailure();
    return true;
}

bool ChunkHeaderBase::loadFD(int fd, int position)
{
    return loadFD(fd, std::int64_t{position});
}

bool ChunkHeaderBase::loadFD(int fd, std::int64_t position)
{
    if (position < 0)
        return false;
    if (systemCalls.lseek(fd, position, SEEK_SET) == -1)
        reportSeekFailure(errno);
    return loadFD(fd);
}

bool ChunkHeaderBase::writeFD(int fd) const
{
    char bytes[encodedSize];
    encode(bytes);
    const Transfer transfer = writeWhole(fd, bytes, sizeof bytes);
    if (transfer.bytes != static_cast<std::int64_t>(sizeof bytes))
        reportWriteFailure(transfer.error);
    return true;
}

void ChunkHeaderBase::reportSeekFailure(int error)
{
    report::fail(logger, System, "CHB_LFD_SEEK",
                 QStringLiteral("Could not seek data: ") + report::systemText(error), DATAIO_HERE);
}

void ChunkHeaderBase::reportReadFailure(int error)
{
    report::fail(logger, System, "CHB_LDF_READ",
                 QStringLiteral("Could not read chunk header data: ") + report::systemText(error), DATAIO_HERE);
}

void ChunkHeaderBase::reportWriteFailure(int error)
{
    report::fail(logger, System, "CHB_WFD_WRITE",
                 QStringLiteral("Could not write chunk start header: ") + report::systemText(error), DATAIO_HERE);
}

void ChunkHeaderBase::reportParseFailure()
{
    report::fail(logger, Library, "CHB_LFD_PARSE",
                 QStringLiteral("Cannot read chunk header, file may be corrupted."), DATAIO_HERE);
}

} // namespace zd
