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

constexpr char loading[] = "bool zd::ChunkHeaderBase::loadFD(int)";
constexpr char writing[] = "bool zd::ChunkHeaderBase::writeFD(int) const";

[[noreturn]] void reportSeekFailure(int error)
{
    report::fail(logger, System, "CHB_LFD_SEEK", QStringLiteral("Could not seek data: ") + report::systemText(error),
                 DATAIO_HERE_IN("bool zd::ChunkHeaderBase::loadFD(int, int64_t)"));
}

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
    if (std::memcmp(bytes, marks, typeAt) != 0 ||
        std::memcmp(bytes + closingMarkAt, marks + closingMarkAt, encodedSize - closingMarkAt) != 0)
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
    if (transfer.bytes != layout::headerBytes)
        reportReadFailure(transfer.error);
    if (!decode(bytes))
        reportParseFailure();
    return true;
}

bool ChunkHeaderBase::loadFD(int fd, std::int64_t position)
{
    if (position < 0)
        return false;
    if (systemCalls.lseek(fd, position, SEEK_SET) == -1)
        reportSeekFailure(errno);
    return loadFD(fd);
}

bool ChunkHeaderBase::loadFD(int fd, std::int64_t position, void* behind, std::size_t size, std::size_t& arrived)
{
    if (position < 0)
        return false;
    char bytes[encodedSize];
    iovec pieces[] = {{bytes, sizeof bytes}, {behind, size}};
    const Transfer transfer = readPieces(fd, pieces, 2, position);
    if (transfer.bytes == 0 && transfer.error == 0)
        return false;
    if (transfer.bytes == 0 && systemCalls.lseek(fd, position, SEEK_SET) == -1)
        reportSeekFailure(errno);
    if (transfer.bytes < layout::headerBytes)
        reportReadFailure(transfer.error);
    if (!decode(bytes))
        reportParseFailure();
    arrived = static_cast<std::size_t>(transfer.bytes - layout::headerBytes);
    return true;
}

bool ChunkHeaderBase::writeFD(int fd) const
{
    char bytes[encodedSize];
    encode(bytes);
    const Transfer transfer = writeWhole(fd, bytes, sizeof bytes);
    if (transfer.bytes != layout::headerBytes)
        reportWriteFailure(transfer.error);
    return true;
}

void ChunkHeaderBase::reportReadFailure(int error)
{
    report::fail(logger, System, "CHB_LDF_READ",
                 QStringLiteral("Could not read chunk header data: ") + report::systemText(error),
                 DATAIO_HERE_IN(loading));
}

void ChunkHeaderBase::reportWriteFailure(int error)
{
    report::fail(logger, System, "CHB_WFD_WRITE",
                 QStringLiteral("Could not write chunk start header: ") + report::systemText(error),
                 DATAIO_HERE_IN(writing));
}

void ChunkHeaderBase::reportParseFailure()
{
    report::fail(logger, Library, "CHB_LFD_PARSE", QStringLiteral("Cannot read chunk header, file may be corrupted."),
                 DATAIO_HERE_IN(loading));
}

} // namespace zd
