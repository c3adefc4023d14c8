#include <libdataio/fdchunkwriter.h>

#include <libdataio/chunkframing.h>
#include <libdataio/chunkheader.h>
#include <libdataio/filelock_p.h>
#include <libdataio/filereserve_p.h>
#include <libdataio/report_p.h>
#include <libdataio/systemcalls_p.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.fdchunkwriter"));

constexpr std::int64_t headerBytes = layout::headerBytes;
constexpr std::int64_t framingBytes = layout::framingBytes;
constexpr std::int64_t largestPosition = static_cast<std::int64_t>(layout::largestSizeLimit);
/// How far beyond the end of the file a payload may claim to reach before it is not believed.
constexpr std::int64_t believedBeyondEnd = 64 << 20;

constexpr char adding[] = "int zd::FDChunkWriter::addChunk(unsigned int, const void*, unsigned int)";

[[noreturn]] void reportStepFailure(const char* code, const char* prefix, int error, const LocationInfo& location)
{
    report::fail(logger, System, code, QString::fromLatin1(prefix) + report::systemText(error), location);
}

} // namespace

/// The descriptor, where it stands, and the payload of the last step.
struct FDChunkWriter::Private {
    int fd = -1;
    FileLock lock;
    bool offsetShared = true;
    bool payloadWhole = true;
    FileReserve reserve;
    std::vector<char> buffer;
    std::uint32_t size = 0;
    std::uint32_t position = 0;
};

FDChunkWriter::FDChunkWriter() : m_d(std::make_unique<Private>()) {}

FDChunkWriter::~FDChunkWriter()
{
    closeFD();
}

void FDChunkWriter::setFD(int fd)
{
    m_d->fd = fd;
    m_d->reserve = FileReserve();
}

void FDChunkWriter::_keepLock(FileLock lock)
{
    m_d->lock = std::move(lock);
}

int FDChunkWriter::addChunk(unsigned int type, const void* data, unsigned int size)
{
    if (m_d->fd == -1)
        reportNotOpen();
    const std::int64_t end = m_d->position + framingBytes + size;
    if (end > largestPosition)
        reportWriteFailure(EFBIG);
    // Writing does not move the offset. It goes first: when it cannot, nothing has been written.
    if (m_d->offsetShared && systemCalls.lseek(m_d->fd, end, SEEK_SET) == -1)
        reportSeekFailure();

    char start[ChunkHeaderBase::encodedSize];
    char stop[ChunkHeaderBase::encodedSize];
    ChunkStartHeader(type, size).encode(start);
    ChunkEndHeader(type, size).encode(stop);
    iovec pieces[] = {{start, sizeof start}, {const_cast<void*>(data), size}, {stop, sizeof stop}};
    m_d->reserve.prepare(m_d->fd, m_d->position, end);
    const Transfer transfer = writePieces(m_d->fd, pieces, 3, m_d->position);
    if (transfer.bytes != framingBytes + size)
        _reportPartialChunk(transfer.bytes, transfer.error, size);

    const std::uint32_t written = m_d->position;
    m_d->position = static_cast<std::uint32_t>(end);
    return static_cast<int>(written);
}

/// The part of the chunk that was cut decides what is reported.
void FDChunkWriter::_reportPartialChunk(std::int64_t written, int error, std::uint32_t size)
{
    const bool looked = m_d->offsetShared || written == 0;
    if (looked && systemCalls.lseek(m_d->fd, m_d->position + written, SEEK_SET) == -1 && written == 0)
        reportSeekFailure();
    if (written < headerBytes || written >= headerBytes + size)
        ChunkHeaderBase::reportWriteFailure(error);
    reportWriteFailure(error);
}

void FDChunkWriter::setOffsetShared(bool shared)
{
    m_d->offsetShared = shared;
}

int FDChunkWriter::closeFD()
{
    if (m_d->fd == -1)
        return -1;
    m_d->reserve.giveBack(m_d->fd);
    m_d->lock.release();
    const int result = systemCalls.close(m_d->fd);
    m_d->fd = -1;
    return result;
}

bool FDChunkWriter::nextChunk(unsigned int type)
{
    ChunkStartHeader header;
    if (!header.loadFD(m_d->fd, std::int64_t{m_d->position}))
        return false;
    if (header.type() != type) {
        if (systemCalls.lseek(m_d->fd, m_d->position, SEEK_SET) == -1)
            reportStepFailure("FDCW_NC_SEEK", "Cannot perform a seek in file: ", errno, DATAIO_HERE);
        return false;
    }
    const std::int64_t end = m_d->position + framingBytes + header.size();
    const int error = end > largestPosition ? EFBIG : _readPayload(m_d->position + headerBytes, header.size());
    if (error != 0)
        reportStepFailure("FDCW_NC_READ", "Could not read next chunk data: ", error, DATAIO_HERE);
    m_d->position = static_cast<std::uint32_t>(end);
    return true;
}

bool FDChunkWriter::prevChunk(unsigned int type)
{
    ChunkEndHeader header;
    if (!header.loadFD(m_d->fd, m_d->position - headerBytes))
        return false;
    if (header.type() != type) {
        if (systemCalls.lseek(m_d->fd, m_d->position, SEEK_SET) == -1)
            reportStepFailure("FDCW_PC_SEEK1", "Cannot perform a seek in file: ", errno, DATAIO_HERE);
        return false;
    }
    const std::int64_t payload = m_d->position - headerBytes - header.size();
    if (systemCalls.lseek(m_d->fd, payload, SEEK_SET) == -1)
        reportStepFailure("FDCW_PC_SEEK2", "Could not read previous chunk data: ", errno, DATAIO_HERE);
    const std::int64_t start = payload - headerBytes;
    if (start < 0) // there is a payload, but no room for a header before it
        return false;
    const int error = _readPayload(payload, header.size());
    if (error != 0)
        reportStepFailure("FDCW_PC_READ", "Could not read previous chunk data: ", error, DATAIO_HERE);
    m_d->position = static_cast<std::uint32_t>(start);
    return true;
}

bool FDChunkWriter::openned() const
{
    return m_d->fd != -1;
}

bool FDChunkWriter::seek(unsigned int position)
{
    if (systemCalls.lseek(m_d->fd, position, SEEK_SET) == -1)
        return false;
    m_d->position = position;
    return true;
}

bool FDChunkWriter::seekEnd()
{
    const off_t length = systemCalls.lseek(m_d->fd, 0, SEEK_END);
    if (length == -1 || length > largestPosition)
        return false;
    m_d->position = static_cast<std::uint32_t>(length);
    return true;
}

bool FDChunkWriter::seekPrev()
{
    ChunkEndHeader header;
    if (!header.loadFD(m_d->fd, m_d->position - headerBytes))
        return false;
    const std::int64_t start = m_d->position - framingBytes - header.size();
    if (start <= 0)
        return false;
    m_d->position = static_cast<std::uint32_t>(start);
    return true;
}

unsigned int FDChunkWriter::offset() const
{
    return m_d->position;
}

const void* FDChunkWriter::data() const
{
    return m_d->buffer.empty() ? nullptr : m_d->buffer.data();
}

int FDChunkWriter::chunkSize() const
{
    return static_cast<int>(m_d->size);
}

bool FDChunkWriter::isPayloadWhole() const
{
    return m_d->payloadWhole;
}

int FDChunkWriter::descriptor() const
{
    return m_d->fd;
}

void FDChunkWriter::dumpDebug() const
{
    std::printf("------------------ FDChunkWriter %p\n", static_cast<const void*>(this));
    std::printf("size = %u\n", m_d->size);
    std::printf("offset = %u\n", m_d->position);
    std::printf("fd = %u", static_cast<unsigned int>(m_d->fd));
}

void FDChunkWriter::truncateFile()
{
    if (zd::truncateFile(m_d->fd, m_d->position) == -1) {
        const int error = errno;
        report::fail(logger, System, "FDCW_TRUNC",
                     report::translated("Error while removing old index chunk:") + report::systemText(error),
                     DATAIO_HERE);
    }
    m_d->reserve.cutAt(m_d->position);
}

void FDChunkWriter::requireChunk(unsigned int position, unsigned int type, unsigned int size)
{
    ChunkStartHeader header;
    if (!header.loadFD(m_d->fd, std::int64_t{position}) || header.type() != type || header.size() != size)
        ChunkHeaderBase::reportParseFailure();
}

void FDChunkWriter::reserve(std::int64_t bytes)
{
    const int error = bytes > 0 ? m_d->reserve.demand(m_d->fd, m_d->position, bytes) : 0;
    // Only these speak of the room; everything else means that the file system cannot tell.
    if (error == ENOSPC || error == EDQUOT || error == EFBIG)
        reportWriteFailure(error);
}

void FDChunkWriter::reportNotOpen()
{
    report::fail(logger, Library, "FDCW_AC_BADFD", report::translated("Cannot write in a non openned file."),
                 DATAIO_HERE_IN(adding));
}

void FDChunkWriter::reportSeekFailure()
{
    report::fail(logger, Library, "FDCW_AC_SEEK", report::translated("Cannot seek in file before writing data."),
                 DATAIO_HERE_IN(adding));
}

void FDChunkWriter::reportWriteFailure(int error)
{
    report::fail(logger, System, "FDCW_AC_WRITE",
                 report::translated("Could not write all data: ") + report::systemText(error), DATAIO_HERE_IN(adding));
}

void FDChunkWriter::reportShortPayload()
{
    reportStepFailure("FDCW_PC_READ", "Could not read previous chunk data: ", EIO,
                      DATAIO_HERE_IN("virtual bool zd::FDChunkWriter::prevChunk(unsigned int)"));
}

/// Fills the buffer with `size` bytes from `position`, zeros for what the file does not hold, and makes
/// them current. Returns the error that prevents it, else 0. The descriptor stands at `position`.
int FDChunkWriter::_readPayload(std::int64_t position, std::uint32_t size)
{
    if (size > m_d->buffer.size()) {
        const std::int64_t length = fileLength(m_d->fd);
        if (length == -1)
            return errno;
        if (position + size > length + believedBeyondEnd)
            return ENOMEM;
        try {
            std::vector<char>(size).swap(m_d->buffer);
        } catch (const std::bad_alloc&) {
            return ENOMEM;
        }
    }
    m_d->size = size;
    const Transfer transfer = readWhole(m_d->fd, m_d->buffer.data(), size);
    std::fill(m_d->buffer.begin() + transfer.bytes, m_d->buffer.begin() + size, '\0');
    m_d->payloadWhole = transfer.bytes == size;
    return transfer.error;
}

} // namespace zd
