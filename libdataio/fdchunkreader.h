#pragma once

#include <libdataio/chunkreader.h>

#include <cstddef>
#include <cstdint>

namespace zd {

/// Bytes at an address that begins a memory page: reads into it run at full speed. Grows, never shrinks.
class DATAIO_EXPORT PayloadBuffer {
public:
    PayloadBuffer() = default;
    PayloadBuffer(const PayloadBuffer&) = delete;
    PayloadBuffer& operator=(const PayloadBuffer&) = delete;
    ~PayloadBuffer();

    /// Makes room for `size` bytes. When it has to grow, the content is lost. Throws std::bad_alloc, with
    /// buffer and content as they were.
    void reserve(std::size_t size);
    std::size_t capacity() const { return m_capacity; }
    char* data() { return m_data; } ///< null before the first `reserve`
    const char* data() const { return m_data; }

private:
    char* m_data = nullptr;
    std::size_t m_capacity = 0;
};

/// `ChunkReader` on an open file descriptor, which it closes when it is destroyed.
///
/// Positions reach 2^32 - 1; a longer file is refused by `seekEnd`. A payload that the file cannot hold is not
/// allocated.
class DATAIO_EXPORT FDChunkReader : public ChunkReader {
public:
    FDChunkReader() = default;
    ~FDChunkReader() override;

    const void* data() const override;
    bool nextChunk(unsigned int type) override;
    bool prevChunk(unsigned int type) override;
    int chunkSize() override;
    bool rewind() override;
    bool seekEnd() override;
    bool seek(unsigned int position) override;
    int closeFD() override;

    /// How long the payload of the next forward step is expected to be. A right guess saves system calls.
    void expectSize(unsigned int size) { m_expectedSize = size; }

private:
    static constexpr std::int64_t noPosition = -1;

    std::size_t _roomForExpected(unsigned int expectedSize);
    bool _fileHolds(std::int64_t end);
    bool _readRest(std::int64_t payload, std::size_t arrived, std::size_t size);
    void _goTo(std::int64_t position);
    void _leaveChunk();

    bool m_loaded = false;    // the payload of the last step is in the buffer
    std::int32_t m_size = -1; // payload size of the current chunk
    std::int64_t m_position = noPosition;
    PayloadBuffer m_buffer;
    unsigned int m_expectedSize = 0;
    std::int64_t m_fileLength = -1; // as last seen; asked again when a chunk claims to go beyond it
};

} // namespace zd
