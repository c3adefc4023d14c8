#pragma once

#include <libdataio/chunkheader.h>
#include <movietools/files/bytesource.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace zd::movietools {

/// One stretch of a movie as it lies on disk.
struct WalkedPiece {
    enum class Kind : std::uint8_t {
        Chunk,        ///< two headers that agree
        DamagedChunk, ///< one header has damaged bytes; the other one and what lies around tell where the chunk lies
        TornChunk,    ///< begins like a chunk, and the file ends before it does
        Gap,          ///< bytes that belong to no chunk
    };

    Kind kind = Kind::Gap;
    bool startDamaged = false; ///< of a damaged chunk: the start header is not what the rest of the chunk says
    bool endDamaged = false;   ///< the same of the end header; both when only their types differ
    std::uint32_t type = 0;    ///< by the start header when it can be read, else by the end header
    std::uint32_t endType = 0; ///< by the end header when it can be read, else as `type`
    std::uint32_t size = 0;    ///< payload bytes; of a torn chunk those that its header promises
    std::int64_t offset = 0;   ///< of the first byte
    std::int64_t length = 0;   ///< bytes on disk, headers included

    std::int64_t end() const { return offset + length; }
    std::int64_t payload() const
    {
        return offset + std::int64_t{ChunkHeaderBase::encodedSize};
    } ///< offset of the payload
    /// Whether this is a chunk that lies whole in the file, its payload within known bounds.
    bool isWhole() const { return kind == Kind::Chunk || kind == Kind::DamagedChunk; }

    friend bool operator==(const WalkedPiece&, const WalkedPiece&) = default;
};

/// Whether 16 bytes are that header with at most a few of them damaged: so few that the chunk can be believed.
bool resemblesHeader(const char* bytes, const ChunkHeaderBase& header);

/// Walks a file of chunks from its first byte to its last, whatever its state: the pieces follow each other without
/// overlap and cover the file.
///
/// Where two headers agree there is a chunk, and nothing inside it is looked at: pixels may look like chunks.
/// Elsewhere the walk goes on at the next place where 64 bits of marks and 128 bits of matching headers say that a
/// chunk begins. Payloads are not read; of damaged stretches every byte is, in blocks. Memory is bounded, positions
/// have 64 bits. The source must outlive the walk.
class ChunkWalk {
public:
    explicit ChunkWalk(const ByteSource& source) : m_source(source) {}

    /// The next piece; false at the end of the file. Throws JobError when the source cannot be read.
    bool next(WalkedPiece& piece);

private:
    using HeaderBytes = std::array<char, ChunkHeaderBase::encodedSize>;

    bool headerAt(std::int64_t offset, HeaderBytes& bytes);
    template <typename Header>
    std::optional<Header> readHeader(std::int64_t offset);
    bool resembles(std::int64_t offset, const ChunkHeaderBase& header);
    bool beginsChunk(std::int64_t offset);
    std::optional<WalkedPiece> soundChunk(std::int64_t offset);
    std::optional<WalkedPiece> chunkOfStartHeader(std::int64_t offset);
    bool endsOtherChunk(std::int64_t offset, const ChunkEndHeader& end);
    std::optional<WalkedPiece> chunkOfEndHeader(std::int64_t offset, std::int64_t endOffset);
    WalkedPiece searchFrom(std::int64_t offset);
    std::optional<std::int64_t> nextMark(std::int64_t offset);
    WalkedPiece restFrom(std::int64_t offset);

    const ByteSource& m_source;
    std::int64_t m_position = 0;
    std::array<char, 2 * ChunkHeaderBase::encodedSize> m_window{}; // an end header and the start header behind it
    std::int64_t m_windowOffset = -1;
    std::int64_t m_windowSize = 0;
    std::vector<char> m_block; // where marks are searched
    std::int64_t m_blockOffset = -1;
    std::int64_t m_blockSize = 0;
};

/// All pieces of a file.
std::vector<WalkedPiece> walkChunks(const ByteSource& source);

} // namespace zd::movietools
