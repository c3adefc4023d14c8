#pragma once

#include <libdataio/chunkframing.h>
#include <libdataio/export.h>

#include <concepts>
#include <cstddef>
#include <cstdint>

namespace zd {

/// The 16-byte header at either end of a chunk: a kind mark of 6 bytes, the chunk's type and payload size
/// (unsigned 32-bit, big-endian), a closing mark of 2 bytes.
class DATAIO_EXPORT ChunkHeaderBase {
public:
    /// Bytes of a header in a file.
    static constexpr std::size_t encodedSize = static_cast<std::size_t>(layout::headerBytes);

    virtual ~ChunkHeaderBase();
    /// The 16 characters of this kind of header, with blanks in place of the two fields.
    virtual const char* headerTemplate() const = 0;

    std::uint32_t type() const { return m_type; }
    std::uint32_t size() const { return m_size; } ///< payload size in bytes

    /// Reads a header at the descriptor's position and leaves the descriptor behind the bytes read. False at
    /// the end of the file. Reports "CHB_LDF_READ" (failed or truncated) and "CHB_LFD_PARSE" (marks of
    /// another kind); this object is then unchanged.
    bool loadFD(int fd);
    /// The same at an absolute position. A negative position gives false without any system call. Reports
    /// "CHB_LFD_SEEK" as well.
    bool loadFD(int fd, int position) { return loadFD(fd, std::int64_t{position}); }
    bool loadFD(int fd, std::int64_t position);
    /// Positions of any other integer type; one that does not fit counts as negative.
    template <std::integral Position>
    bool loadFD(int fd, Position position)
    {
        return loadFD(fd, static_cast<std::int64_t>(position));
    }
    /// The same with one system call, which leaves the descriptor where it is and fetches up to `size` bytes
    /// behind the header as well; `arrived` becomes the number of those that were there.
    bool loadFD(int fd, std::int64_t position, void* behind, std::size_t size, std::size_t& arrived);
    /// Writes this header at the descriptor's position; true. Reports "CHB_WFD_WRITE".
    bool writeFD(int fd) const;

    /// Writes the 16 bytes of this header to `out`.
    void encode(char* out) const;
    /// Takes the fields from 16 bytes; false, with nothing changed, when the marks are not those of this kind.
    bool decode(const char* bytes);

    /// The reports of the operations above, for callers that move a header's bytes together with a payload. They name
    /// `loadFD` and `writeFD` as their place, whoever calls.
    [[noreturn]] static void reportReadFailure(int error);
    [[noreturn]] static void reportWriteFailure(int error);
    [[noreturn]] static void reportParseFailure();

protected:
    ChunkHeaderBase() = default;
    ChunkHeaderBase(std::uint32_t type, std::uint32_t size) : m_type(type), m_size(size) {}
    ChunkHeaderBase(const ChunkHeaderBase&) = default;
    ChunkHeaderBase& operator=(const ChunkHeaderBase&) = default;

private:
    std::uint32_t m_type = 0;
    std::uint32_t m_size = 0;
};

/// The header in front of a payload: mark "\n<CSTA".
class DATAIO_EXPORT ChunkStartHeader : public ChunkHeaderBase {
public:
    ChunkStartHeader() = default;
    ChunkStartHeader(std::uint32_t type, std::uint32_t size) : ChunkHeaderBase(type, size) {}
    const char* headerTemplate() const override;
};

/// The header behind a payload: mark "\n<CEND".
class DATAIO_EXPORT ChunkEndHeader : public ChunkHeaderBase {
public:
    ChunkEndHeader() = default;
    ChunkEndHeader(std::uint32_t type, std::uint32_t size) : ChunkHeaderBase(type, size) {}
    const char* headerTemplate() const override;
};

} // namespace zd
