#include <movietools/movie/chunkwalk.h>

#include <libdataio/imagefilelayout.h>

#include <algorithm>
#include <cstring>

namespace zd::movietools {

namespace {

using Kind = WalkedPiece::Kind;

constexpr std::int64_t headerBytes = layout::headerBytes;
constexpr std::int64_t blockBytes = std::int64_t{1} << 20;

// What both kinds of header begin with.
constexpr char commonMark[] = "\n<C";
constexpr std::size_t commonMarkBytes = sizeof commonMark - 1;
// The part of a start header that tells it from other bytes even when the rest was cut off.
constexpr std::int64_t startMarkBytes = 6;
// Of a header, so that the chunk it belongs to is still believed: one of its two numbers.
constexpr int mostDamagedBytes = 4;

WalkedPiece chunkPiece(std::int64_t offset, std::uint32_t type, std::uint32_t endType, std::uint32_t size,
                       bool startDamaged, bool endDamaged)
{
    const Kind kind = startDamaged || endDamaged ? Kind::DamagedChunk : Kind::Chunk;
    return {kind, startDamaged, endDamaged, type, endType, size, offset, layout::framingBytes + size};
}

WalkedPiece gapPiece(std::int64_t offset, std::int64_t end)
{
    WalkedPiece gap;
    gap.offset = offset;
    gap.length = end - offset;
    return gap;
}

} // namespace

bool resemblesHeader(const char* bytes, const ChunkHeaderBase& header)
{
    char expected[ChunkHeaderBase::encodedSize];
    header.encode(expected);
    int different = 0;
    for (std::size_t i = 0; i < sizeof expected; ++i)
        different += bytes[i] != expected[i] ? 1 : 0;
    return different <= mostDamagedBytes;
}

bool ChunkWalk::next(WalkedPiece& piece)
{
    if (m_position >= m_source.length())
        return false;
    if (std::optional<WalkedPiece> sound = soundChunk(m_position))
        piece = *sound;
    else if (std::optional<WalkedPiece> chunk = chunkOfStartHeader(m_position))
        piece = *chunk;
    else
        piece = searchFrom(m_position);
    m_position = piece.end();
    return true;
}

// The bytes of a header; false where the file ends before it does. Fetches what lies behind as well: the next step
// asks for that.
bool ChunkWalk::headerAt(std::int64_t offset, HeaderBytes& bytes)
{
    if (offset < m_windowOffset || offset + headerBytes > m_windowOffset + m_windowSize) {
        if (offset > m_source.length() - headerBytes)
            return false;
        m_windowOffset = offset;
        m_windowSize = 0; // in case the read throws
        m_windowSize = m_source.read(offset, m_window.data(), static_cast<std::int64_t>(m_window.size()));
        if (m_windowSize < headerBytes)
            return false;
    }
    std::memcpy(bytes.data(), m_window.data() + (offset - m_windowOffset), bytes.size());
    return true;
}

template <typename Header>
std::optional<Header> ChunkWalk::readHeader(std::int64_t offset)
{
    HeaderBytes bytes;
    Header header;
    if (headerAt(offset, bytes) && header.decode(bytes.data()))
        return header;
    return std::nullopt;
}

// Whether a chunk begins there, or the file ends.
bool ChunkWalk::beginsChunk(std::int64_t offset)
{
    return offset == m_source.length() || readHeader<ChunkStartHeader>(offset).has_value();
}

std::optional<WalkedPiece> ChunkWalk::soundChunk(std::int64_t offset)
{
    const auto start = readHeader<ChunkStartHeader>(offset);
    if (!start)
        return std::nullopt;
    const auto end = readHeader<ChunkEndHeader>(offset + headerBytes + start->size());
    if (!end || end->type() != start->type() || end->size() != start->size())
        return std::nullopt;
    return chunkPiece(offset, start->type(), start->type(), start->size(), false, false);
}

// A header that was destroyed altogether says that the payload beside it may be destroyed as well.
bool ChunkWalk::resembles(std::int64_t offset, const ChunkHeaderBase& header)
{
    HeaderBytes found;
    return headerAt(offset, found) && resemblesHeader(found.data(), header);
}

// A chunk whose start header is right about its size, and whose end header is damaged. When only the types differ,
// either header may be.
std::optional<WalkedPiece> ChunkWalk::chunkOfStartHeader(std::int64_t offset)
{
    const auto start = readHeader<ChunkStartHeader>(offset);
    if (!start)
        return std::nullopt;
    const std::int64_t endOffset = offset + headerBytes + start->size();
    if (!resembles(endOffset, ChunkEndHeader(start->type(), start->size())))
        return std::nullopt;
    const auto end = readHeader<ChunkEndHeader>(endOffset);
    if (end && end->size() == start->size())
        return chunkPiece(offset, start->type(), end->type(), start->size(), true, true);
    if (end ? endsOtherChunk(endOffset, *end) : !beginsChunk(endOffset + headerBytes))
        return std::nullopt;
    return chunkPiece(offset, start->type(), start->type(), start->size(), false, true);
}

// Whether the end header at `offset` agrees with a start header of its own.
bool ChunkWalk::endsOtherChunk(std::int64_t offset, const ChunkEndHeader& end)
{
    const std::int64_t startOffset = offset - end.size() - headerBytes;
    const auto start = startOffset >= 0 ? readHeader<ChunkStartHeader>(startOffset) : std::nullopt;
    return start && start->type() == end.type() && start->size() == end.size();
}

// The chunk that begins at `offset` with a damaged start header, if the end header at `endOffset` is that of such a one.
std::optional<WalkedPiece> ChunkWalk::chunkOfEndHeader(std::int64_t offset, std::int64_t endOffset)
{
    const auto end = readHeader<ChunkEndHeader>(endOffset);
    if (!end || end->size() != endOffset - offset - headerBytes ||
        !resembles(offset, ChunkStartHeader(end->type(), end->size())))
        return std::nullopt;
    const auto start = readHeader<ChunkStartHeader>(offset);
    return chunkPiece(offset, start ? start->type() : end->type(), end->type(), end->size(), true, false);
}

// At a place that begins no chunk that can be believed: either an end header further on closes a chunk that began
// here, or the next chunk tells where the unrecognised bytes end. A chunk that is followed by none may lie inside the
// damaged one: it is taken only when the search comes to nothing better.
WalkedPiece ChunkWalk::searchFrom(std::int64_t offset)
{
    std::optional<std::int64_t> doubtful;
    std::int64_t from = offset + 1;
    while (const std::optional<std::int64_t> mark = nextMark(from)) {
        from = *mark + 1;
        if (const std::optional<WalkedPiece> closed = chunkOfEndHeader(offset, *mark))
            return *closed;
        const std::optional<WalkedPiece> chunk = soundChunk(*mark);
        if (!chunk)
            continue;
        if (doubtful || beginsChunk(chunk->end()))
            return gapPiece(offset, doubtful.value_or(*mark));
        doubtful = *mark;
        from = chunk->end();
    }
    const WalkedPiece rest = restFrom(offset);
    return doubtful && rest.kind == Kind::Gap ? gapPiece(offset, *doubtful) : rest;
}

// The next place from `offset` on where a header may begin.
std::optional<std::int64_t> ChunkWalk::nextMark(std::int64_t offset)
{
    while (offset + headerBytes <= m_source.length()) {
        if (offset < m_blockOffset || offset + headerBytes > m_blockOffset + m_blockSize) {
            m_block.resize(static_cast<std::size_t>(blockBytes));
            m_blockOffset = offset;
            m_blockSize = 0;
            m_blockSize = m_source.read(offset, m_block.data(), blockBytes);
            if (m_blockSize < headerBytes)
                return std::nullopt;
        }
        const char* begin = m_block.data() + (offset - m_blockOffset);
        const auto searched = static_cast<std::size_t>(m_blockOffset + m_blockSize - offset);
        const void* found = ::memmem(begin, searched, commonMark, commonMarkBytes);
        const std::int64_t foundAt = offset + (found ? static_cast<const char*>(found) - begin : 0);
        if (found && foundAt + headerBytes <= m_blockOffset + m_blockSize)
            return foundAt;
        // A header may begin in the last bytes of the block and end in the next.
        offset = found ? foundAt : m_blockOffset + m_blockSize - static_cast<std::int64_t>(commonMarkBytes) + 1;
        if (m_blockOffset + m_blockSize >= m_source.length())
            return std::nullopt;
    }
    return std::nullopt;
}

// The bytes up to the end of the file, in which no chunk was found.
WalkedPiece ChunkWalk::restFrom(std::int64_t offset)
{
    WalkedPiece rest = gapPiece(offset, m_source.length());
    if (const auto start = readHeader<ChunkStartHeader>(offset)) {
        if (layout::framingBytes + start->size() <= rest.length)
            return rest;
        rest.kind = Kind::TornChunk;
        rest.type = rest.endType = start->type();
        rest.size = start->size();
    } else if (rest.length < headerBytes) {
        const QByteArray bytes = m_source.bytes(offset, std::min(rest.length, startMarkBytes));
        rest.kind = QByteArray(ChunkStartHeader().headerTemplate()).startsWith(bytes) ? Kind::TornChunk : Kind::Gap;
    }
    return rest;
}

std::vector<WalkedPiece> walkChunks(const ByteSource& source)
{
    std::vector<WalkedPiece> pieces;
    ChunkWalk walk(source);
    WalkedPiece piece;
    while (walk.next(piece))
        pieces.push_back(piece);
    return pieces;
}

} // namespace zd::movietools
