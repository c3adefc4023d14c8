#include <libdataio/fdchunkreader.h>

#include <libdataio/chunkframing.h>
#include <libdataio/chunkheader.h>
#include <libdataio/report_p.h>
#include <libdataio/systemcalls_p.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>

#include <unistd.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.fdchunkreader"));

constexpr std::align_val_t pageAlignment{4096};
constexpr std::int64_t largestPosition = static_cast<std::int64_t>(layout::largestSizeLimit);
constexpr std::int64_t headerBytes = layout::headerBytes;

/// Reports what stopped the reading of a header of which nothing, or not all, arrived.
[[noreturn]] void reportHeaderFailure(int fd, std::int64_t position, const Transfer& transfer)
{
    if (transfer.bytes == 0 && systemCalls.lseek(fd, position, SEEK_SET) == -1)
        ChunkHeaderBase::reportSeekFailure(errno);
    ChunkHeaderBase::reportReadFailure(transfer.error);
}

/// Reads a header at `position`, together with up to `guess` bytes behind it. False at the end of the file;
/// `present` becomes the number of bytes that arrived behind the header.
bool loadHeader(ChunkHeaderBase& header, int fd, std::int64_t position, char* behind, std::size_t guess,
                std::size_t& present)
{
    char bytes[ChunkHeaderBase::encodedSize];
    iovec pieces[] = {{bytes, sizeof bytes}, {behind, guess}};
    const Transfer transfer = readPieces(fd, pieces, 2, position);
    if (transfer.bytes == 0 && transfer.error == 0)
        return false;
    if (transfer.bytes < headerBytes)
        reportHeaderFailure(fd, position, transfer);
    if (!header.decode(bytes))
        ChunkHeaderBase::reportParseFailure();
    present = static_cast<std::size_t>(transfer.bytes - headerBytes);
    return true;
}

} // namespace

PayloadBuffer::~PayloadBuffer()
{
    ::operator delete(m_data, pageAlignment);
}

void PayloadBuffer::reserve(std::size_t size)
{
    if (size <= m_capacity)
        return;
    char* grown = static_cast<char*>(::operator new(size, pageAlignment));
    ::operator delete(m_data, pageAlignment);
    m_data = grown;
    m_capacity = size;
}

FDChunkReader::~FDChunkReader()
{
    closeFD();
}

const void* FDChunkReader::data() const
{
    if (!m_loaded)
        report::fail(logger, File, "MM_D_NODATA", QStringLiteral("No data availlable."), DATAIO_HERE);
    return m_buffer.data();
}

int FDChunkReader::chunkSize()
{
    return m_size;
}

bool FDChunkReader::nextChunk(unsigned int type)
{
    const std::size_t guess = _takeGuess();
    _leaveChunk();
    if (m_position == noPosition)
        return false;
    ChunkStartHeader header;
    std::size_t present = 0;
    if (!loadHeader(header, m_fd, m_position, m_buffer.data(), guess, present) || header.type() != type)
        return false;

    const std::int64_t payload = m_position + headerBytes;
    const std::int64_t end = payload + header.size() + headerBytes;
    const bool held = _fileHolds(end - headerBytes);
    // The enlargement comes first: when memory is short, the position stays.
    if (held && header.size() > m_buffer.capacity()) {
        m_buffer.reserve(header.size());
        present = 0;
    }
    m_position = end < largestPosition ? static_cast<std::uint32_t>(end) : noPosition;
    if (header.size() > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()))
        return false;
    m_size = static_cast<std::int32_t>(header.size());
    if (!held)
        return false;
    m_loaded = present >= header.size();
    if (!m_loaded) {
        iovec rest{m_buffer.data() + present, header.size() - present};
        const std::int64_t missing = static_cast<std::int64_t>(rest.iov_len);
        m_loaded = readPieces(m_fd, &rest, 1, payload + static_cast<std::int64_t>(present)).bytes == missing;
    }
    return m_loaded;
}

bool FDChunkReader::prevChunk(unsigned int type)
{
    _leaveChunk();
    const std::int64_t end = m_position;
    if (m_position == noPosition || end < headerBytes)
        return false;
    ChunkEndHeader header;
    std::size_t present = 0;
    if (!loadHeader(header, m_fd, end - headerBytes, nullptr, 0, present) || header.type() != type)
        return false;

    const std::int64_t payload = end - headerBytes - header.size();
    if (payload < 0 || header.size() > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()))
        return false;
    m_buffer.reserve(header.size());
    iovec piece{m_buffer.data(), header.size()};
    if (readPieces(m_fd, &piece, 1, payload).bytes != header.size())
        return false;
    m_size = static_cast<std::int32_t>(header.size());
    m_loaded = true;
    m_position = payload >= headerBytes ? static_cast<std::uint32_t>(payload - headerBytes) : noPosition;
    return true;
}

bool FDChunkReader::rewind()
{
    _leaveChunk();
    if (systemCalls.lseek(m_fd, 0, SEEK_SET) == -1) {
        const int error = errno;
        report::fail(logger, System, "MM_R_SEEK",
                     QStringLiteral("Could not rewind file: ") + report::systemText(error), DATAIO_HERE);
    }
    m_position = 0;
    return true;
}

bool FDChunkReader::seekEnd()
{
    _leaveChunk();
    m_position = noPosition;
    const off_t length = systemCalls.lseek(m_fd, 0, SEEK_END);
    if (length == -1 || length > largestPosition) {
        const int error = length == -1 ? errno : EOVERFLOW;
        report::fail(logger, System, "MM_SE_SEEK",
                     QStringLiteral("Could not reach end of file: ") + report::systemText(error), DATAIO_HERE);
    }
    m_fileLength = length;
    m_position = static_cast<std::uint32_t>(length);
    return true;
}

bool FDChunkReader::seek(unsigned int position)
{
    _leaveChunk();
    m_position = position;
    return true;
}

int FDChunkReader::closeFD()
{
    _leaveChunk();
    const int result = m_fd == -1 ? -1 : systemCalls.close(m_fd);
    m_fd = -1;
    m_position = 0;
    m_fileLength = -1;
    return result;
}

void FDChunkReader::_leaveChunk()
{
    m_size = -1;
    m_loaded = false;
    m_expectedSize = 0;
}

/// Whether the file reaches to `end`; its length is asked for again when the last answer says no.
bool FDChunkReader::_fileHolds(std::int64_t end)
{
    if (end > m_fileLength)
        m_fileLength = fileLength(m_fd);
    return end <= m_fileLength;
}

/// The expected payload size, with room for it in the buffer, or 0 when there is no sensible expectation.
std::size_t FDChunkReader::_takeGuess()
{
    if (m_expectedSize == 0 || m_position == noPosition
        || !_fileHolds(std::int64_t{m_position} + headerBytes + m_expectedSize))
        return 0;
    m_buffer.reserve(m_expectedSize);
    return m_expectedSize;
}

} // namespace zd
