#include <libdataio/fdchunkreader.h>

#include <libdataio/chunkframing.h>
#include <libdataio/chunkheader.h>
#include <libdataio/payloadbuffer.h>
#include <libdataio/payloadreader_p.h>
#include <libdataio/readwindow_p.h>
#include <libdataio/report_p.h>
#include <libdataio/systemcalls_p.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include <unistd.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.fdchunkreader"));

constexpr std::int64_t noPosition = -1;
constexpr std::int64_t largestPosition = static_cast<std::int64_t>(layout::largestSizeLimit);
constexpr std::int64_t headerBytes = layout::headerBytes;
constexpr std::uint32_t largestSize = std::numeric_limits<std::int32_t>::max();
constexpr std::uintptr_t payloadAlignment = 16;

bool isAligned(const char* payload)
{
    return reinterpret_cast<std::uintptr_t>(payload) % payloadAlignment == 0;
}

} // namespace

/// Where the reader stands, and what it holds of the file.
struct FDChunkReader::Private {
    class SharedOffset;

    explicit Private(const int& fd) : m_fd(fd) {}

    std::span<const char> payloadAhead(ChunkStartHeader& header, unsigned int type, unsigned int expectedSize);

    void takeAhead(const ChunkStartHeader& header, std::span<const char> payload);
    bool readNext(unsigned int type, unsigned int expectedSize);
    bool readNextInto(unsigned int type, void* target, std::size_t size, unsigned int expectedSize);
    std::int64_t stepOver(const ChunkStartHeader& header);
    std::int64_t lastPayloadSize(std::int64_t start) const;
    bool findBefore(unsigned int type, std::int64_t& payload, std::uint32_t& size);
    std::size_t roomForExpected(unsigned int expectedSize);
    bool fileHolds(std::int64_t end);
    bool fileHoldsPayload(const ChunkStartHeader& header);
    bool readRest(char* target, std::int64_t payload, std::size_t arrived, std::size_t size);
    void goTo(std::int64_t position);
    void leaveChunk();

    const int& m_fd; // the reader's
    bool m_offsetShared = true;
    bool m_loaded = false;           // the payload of the last step is there
    const char* m_payload = nullptr; // in the buffer or the window
    std::int32_t m_size = -1;        // payload size of the current chunk
    std::int64_t m_position = noPosition;
    PayloadBuffer m_buffer;
    ReadWindow m_window;
    unsigned int m_expectedSize = 0;
    std::uint32_t m_payloadLimit = largestSize;
    std::int64_t m_fileLength = -1; // as last seen; asked again when a chunk claims to go beyond it
};

/// Leaves the descriptor's own offset, at the end of a step, behind those of the bytes it looked at last that there are: there
/// it would stand if header and payload had been read one after the other.
class FDChunkReader::Private::SharedOffset {
public:
    SharedOffset(const Private& reader, std::int64_t header) : m_reader(reader), m_from(header) {}
    SharedOffset(const SharedOffset&) = delete;
    SharedOffset& operator=(const SharedOffset&) = delete;
    ~SharedOffset()
    {
        if (m_reader.m_offsetShared && m_from >= 0)
            leave();
    }

    void lookedAt(std::int64_t payload, std::int64_t size)
    {
        m_from = payload;
        m_size = size;
    }

private:
    void leave() const
    {
        const std::int64_t end = m_from + m_size;
        const std::int64_t there = m_reader.m_loaded ? end : std::clamp(fileLength(m_reader.m_fd), m_from, end);
        systemCalls.lseek(m_reader.m_fd, there, SEEK_SET);
    }

    const Private& m_reader;
    std::int64_t m_from;
    std::int64_t m_size = headerBytes;
};

FDChunkReader::FDChunkReader() : m_d(std::make_unique<Private>(m_fd)) {}

FDChunkReader::~FDChunkReader()
{
    closeFD();
}

void FDChunkReader::setFD(int fd)
{
    ChunkReader::setFD(fd);
    m_d->m_window.drop();
    m_d->m_fileLength = -1;
}

void FDChunkReader::setPayloadLimit(std::uint32_t bytes)
{
    m_d->m_payloadLimit = std::min(bytes, largestSize);
}

const void* FDChunkReader::data() const
{
    if (!m_d->m_loaded)
        report::fail(logger, File, "MM_D_NODATA", QStringLiteral("No data availlable."), DATAIO_HERE);
    return m_d->m_payload;
}

int FDChunkReader::chunkSize()
{
    return m_d->m_size;
}

bool FDChunkReader::nextChunk(unsigned int type)
{
    return _step(
        type, [this](const ChunkStartHeader& header, std::span<const char> ahead) { m_d->takeAhead(header, ahead); },
        [this, type](unsigned int expectedSize) { return m_d->readNext(type, expectedSize); });
}

bool FDChunkReader::nextChunk(unsigned int type, void* target, std::size_t size)
{
    return _step(
        type,
        [this, target, size](const ChunkStartHeader& header, std::span<const char> ahead) {
            std::copy_n(ahead.data(), std::min(size, ahead.size()), static_cast<char*>(target));
            m_d->stepOver(header);
        },
        [=, this](unsigned int expectedSize) { return m_d->readNextInto(type, target, size, expectedSize); });
}

void FDChunkReader::expectSize(unsigned int size)
{
    m_d->m_expectedSize = size;
}

void FDChunkReader::setOffsetShared(bool shared)
{
    m_d->m_offsetShared = shared;
}

/// A step forward: `takeAhead` has a payload that was read ahead, `read` fetches one from the file.
template <typename TakeAhead, typename Read>
bool FDChunkReader::_step(unsigned int type, TakeAhead takeAhead, Read read)
{
    const unsigned int expectedSize = m_d->m_expectedSize;
    const std::int64_t start = m_d->m_position;
    m_d->leaveChunk();
    Private::SharedOffset offset(*m_d, start);
    ChunkStartHeader header;
    const std::span<const char> ahead = m_d->payloadAhead(header, type, expectedSize);
    bool stepped = true;
    if (ahead.data() == nullptr)
        stepped = read(expectedSize);
    else
        takeAhead(header, ahead);
    if (m_d->m_position != start)
        offset.lookedAt(start + headerBytes, m_d->lastPayloadSize(start));
    if (stepped)
        m_d->m_window.stepped(start, m_d->m_position);
    return stepped;
}

/// The payload of the chunk that begins at the position, when it has been read ahead; else null. What does not lead to
/// such a chunk is old: the file is looked at again.
std::span<const char> FDChunkReader::Private::payloadAhead(ChunkStartHeader& header, unsigned int type,
                                                           unsigned int expectedSize)
{
    const std::int64_t likelySize = expectedSize != 0 ? layout::framingBytes + expectedSize : m_window.lastChunk();
    const std::span<const char> bytes = m_window.from(m_fd, m_position, likelySize);
    if (bytes.size() < ChunkHeaderBase::encodedSize)
        return {};
    if (!header.decode(bytes.data()) || header.type() != type) {
        m_window.drop();
        return {};
    }
    const std::span<const char> behind = bytes.subspan(ChunkHeaderBase::encodedSize);
    const bool whole = behind.size() >= header.size() && header.size() <= m_payloadLimit;
    return whole ? behind.first(header.size()) : std::span<const char>();
}

/// Steps over a chunk that has been read ahead.
void FDChunkReader::Private::takeAhead(const ChunkStartHeader& header, std::span<const char> payload)
{
    const bool inPlace = isAligned(payload.data());
    if (!inPlace) {
        m_buffer.reserve(payload.size());
        std::copy(payload.begin(), payload.end(), m_buffer.data());
    }
    m_payload = inPlace ? payload.data() : m_buffer.data();
    m_loaded = true;
    stepOver(header);
}

bool FDChunkReader::Private::readNext(unsigned int type, unsigned int expectedSize)
{
    const std::size_t room = roomForExpected(expectedSize);
    ChunkStartHeader header;
    std::size_t arrived = 0;
    if (!header.loadFD(m_fd, m_position, m_buffer.data(), room, arrived) || header.type() != type)
        return false;

    const bool held = fileHoldsPayload(header);
    // The enlargement comes first: when memory is short, the position stays.
    if (held) {
        arrived = header.size() > m_buffer.capacity() ? 0 : arrived;
        m_buffer.reserve(header.size());
    }
    const std::int64_t payload = stepOver(header);
    m_payload = m_buffer.data();
    m_loaded = held && (arrived >= header.size() || readRest(m_buffer.data(), payload, arrived, header.size()));
    return m_loaded;
}

bool FDChunkReader::Private::readNextInto(unsigned int type, void* target, std::size_t size, unsigned int expectedSize)
{
    ChunkStartHeader header;
    std::size_t arrived = 0;
    if (!header.loadFD(m_fd, m_position, target, std::min<std::size_t>(size, expectedSize), arrived) ||
        header.type() != type)
        return false;
    const bool held = fileHoldsPayload(header);
    const std::int64_t payload = stepOver(header);
    const auto wanted = std::min<std::size_t>(size, header.size());
    return held && (arrived >= wanted || readRest(static_cast<char*>(target), payload, arrived, wanted));
}

/// Moves behind the chunk at the position, which becomes the current one; returns where its payload begins.
std::int64_t FDChunkReader::Private::stepOver(const ChunkStartHeader& header)
{
    const std::int64_t payload = m_position + headerBytes;
    goTo(payload + header.size() + headerBytes);
    if (header.size() <= largestSize)
        m_size = static_cast<std::int32_t>(header.size());
    return payload;
}

/// Size of the payload of the chunk that began at `start` and has been stepped over.
std::int64_t FDChunkReader::Private::lastPayloadSize(std::int64_t start) const
{
    return (m_position == noPosition ? largestPosition : m_position - layout::framingBytes) - start;
}

/// Whether the file holds all of the payload of the chunk at the position.
bool FDChunkReader::Private::fileHoldsPayload(const ChunkStartHeader& header)
{
    return header.size() <= m_payloadLimit && fileHolds(m_position + headerBytes + header.size());
}

/// Reads those of the first `size` bytes of a payload that have not arrived at `target` yet; whether all of them came.
bool FDChunkReader::Private::readRest(char* target, std::int64_t payload, std::size_t arrived, std::size_t size)
{
    iovec rest{target + arrived, size - arrived};
    const Transfer transfer = readPieces(m_fd, &rest, 1, payload + static_cast<std::int64_t>(arrived));
    return transfer.bytes == static_cast<std::int64_t>(size - arrived);
}

bool FDChunkReader::prevChunk(unsigned int type)
{
    Private::SharedOffset offset(*m_d, m_d->m_position - headerBytes);
    std::int64_t payload = 0;
    std::uint32_t size = 0;
    if (!m_d->findBefore(type, payload, size))
        return false;
    offset.lookedAt(payload, size);
    m_d->m_buffer.reserve(size);
    if (!m_d->readRest(m_d->m_buffer.data(), payload, 0, size))
        return false;
    m_d->m_size = static_cast<std::int32_t>(size);
    m_d->m_payload = m_d->m_buffer.data();
    m_d->m_loaded = true;
    m_d->goTo(payload - headerBytes);
    return true;
}

std::unique_ptr<PayloadReader> FDChunkReader::prevPayload(unsigned int type)
{
    std::int64_t payload = 0;
    std::uint32_t size = 0;
    if (!m_d->findBefore(type, payload, size))
        return nullptr;
    auto reader = std::make_unique<PayloadReader>(m_fd, payload, size);
    m_d->goTo(payload - headerBytes);
    return reader;
}

std::unique_ptr<PayloadReader> FDChunkReader::nextPayload(unsigned int type)
{
    m_d->leaveChunk();
    m_d->m_window.drop();
    ChunkStartHeader header;
    std::size_t arrived = 0;
    if (!header.loadFD(m_fd, m_d->m_position, nullptr, 0, arrived) || header.type() != type)
        return nullptr;
    const std::int64_t payload = m_d->m_position + headerBytes;
    if (header.size() > m_d->m_payloadLimit || !m_d->fileHolds(payload + header.size()))
        return nullptr;
    auto reader = std::make_unique<PayloadReader>(m_fd, payload, header.size());
    m_d->goTo(payload + header.size() + headerBytes);
    return reader;
}

bool FDChunkReader::rewind()
{
    m_d->leaveChunk();
    m_d->m_window.drop();
    if (systemCalls.lseek(m_fd, 0, SEEK_SET) == -1) {
        const int error = errno;
        report::fail(logger, System, "MM_R_SEEK", QStringLiteral("Could not rewind file: ") + report::systemText(error),
                     DATAIO_HERE);
    }
    m_d->m_position = 0;
    return true;
}

bool FDChunkReader::seekEnd()
{
    m_d->leaveChunk();
    m_d->m_window.drop();
    m_d->m_position = noPosition;
    const off_t length = systemCalls.lseek(m_fd, 0, SEEK_END);
    if (length == -1 || length > largestPosition) {
        const int error = length == -1 ? errno : EOVERFLOW;
        report::fail(logger, System, "MM_SE_SEEK",
                     QStringLiteral("Could not reach end of file: ") + report::systemText(error), DATAIO_HERE);
    }
    m_d->m_fileLength = length;
    m_d->m_position = length;
    return true;
}

bool FDChunkReader::seek(unsigned int position)
{
    m_d->m_window.drop();
    return seek(position, 0);
}

bool FDChunkReader::seek(unsigned int position, unsigned int expectedSize)
{
    m_d->leaveChunk();
    m_d->m_position = position == std::numeric_limits<unsigned int>::max() ? noPosition : std::int64_t{position};
    m_d->m_window.moveTo(m_d->m_position);
    m_d->m_expectedSize = expectedSize;
    return true;
}

int FDChunkReader::closeFD()
{
    m_d->leaveChunk();
    m_d->m_window.drop();
    const int result = m_fd == -1 ? -1 : systemCalls.close(m_fd);
    m_fd = -1;
    m_d->m_position = 0;
    m_d->m_fileLength = -1;
    return result;
}

/// Looks for a chunk of that type that ends at the position: where its payload lies.
bool FDChunkReader::Private::findBefore(unsigned int type, std::int64_t& payload, std::uint32_t& size)
{
    leaveChunk();
    m_window.drop();
    const std::int64_t end = m_position - headerBytes;
    ChunkEndHeader header;
    std::size_t arrived = 0;
    if (!header.loadFD(m_fd, end, nullptr, 0, arrived) || header.type() != type)
        return false;
    size = header.size();
    payload = end - size;
    return payload >= 0 && size <= m_payloadLimit;
}

void FDChunkReader::Private::leaveChunk()
{
    m_size = -1;
    m_loaded = false;
    m_expectedSize = 0;
    m_buffer.forget();
}

/// Sets the position; a place that no chunk boundary can have is none.
void FDChunkReader::Private::goTo(std::int64_t position)
{
    m_position = position >= 0 && position <= largestPosition ? position : noPosition;
}

/// Whether the file reaches to `end`; its length is asked for again when the last answer says no.
bool FDChunkReader::Private::fileHolds(std::int64_t end)
{
    if (end > m_fileLength)
        m_fileLength = fileLength(m_fd);
    return end <= m_fileLength;
}

/// The expected payload size, with room for it in the buffer, or 0 when there is no sensible expectation.
std::size_t FDChunkReader::Private::roomForExpected(unsigned int expectedSize)
{
    if (expectedSize == 0 || expectedSize > m_payloadLimit || m_position == noPosition ||
        !fileHolds(m_position + headerBytes + expectedSize))
        return 0;
    m_buffer.reserve(expectedSize);
    return expectedSize;
}

} // namespace zd
