#pragma once

#include <libdataio/chunkreader.h>
#include <libdataio/payloadbuffer.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace zd {

class ChunkStartHeader;
class PayloadReader;
class ReadWindow;

/// `ChunkReader` on an open file descriptor, which it closes when it is destroyed.
///
/// Positions reach 2^32 - 1; a longer file is refused by `seekEnd`. A payload that the file cannot hold is not
/// allocated. Payloads lie at addresses that are a multiple of 16.
///
/// When small chunks are stepped over in sequence the file is read ahead, half a MiB at a time. A step then
/// delivers what the file held when its stretch was read; any other movement makes the next step look again.
class DATAIO_EXPORT FDChunkReader : public ChunkReader {
public:
    FDChunkReader();
    ~FDChunkReader() override;

    void setFD(int fd) override;
    const void* data() const override;
    bool nextChunk(unsigned int type) override;
    bool prevChunk(unsigned int type) override;
    int chunkSize() override;
    bool rewind() override;
    bool seekEnd() override;
    bool seek(unsigned int position) override;
    int closeFD() override;

    /// As `nextChunk`, but the first `size` bytes of the payload go to `target`, without another buffer: `data` reports
    /// "MM_D_NODATA" afterwards. What lies in `target` behind the payload, and all of it after a step that gave false or
    /// failed, is not defined. `target` may be null for 0 bytes, which checks the header alone.
    bool nextChunk(unsigned int type, void* target, std::size_t size);

    /// How long the payload of the next forward step is expected to be. A right guess saves system calls.
    void expectSize(unsigned int size) { m_expectedSize = size; }
    /// From now on, payloads of more bytes are left alone: steps treat them as ones that the file does not hold.
    void setPayloadLimit(std::uint32_t bytes);

    // Steps that find a payload and leave its reading to the caller: the position moves as in `nextChunk` and
    // `prevChunk`, and there is no current chunk. Null, with the position unchanged, where those give false.

    std::unique_ptr<PayloadReader> nextPayload(unsigned int type);
    std::unique_ptr<PayloadReader> prevPayload(unsigned int type);

private:
    static constexpr std::int64_t noPosition = -1;

    std::span<const char> _payloadAhead(ChunkStartHeader& header, unsigned int expectedSize);
    void _takeAhead(const ChunkStartHeader& header, std::span<const char> payload);
    bool _readNext(unsigned int type, unsigned int expectedSize);
    bool _readNextInto(unsigned int type, void* target, std::size_t size, unsigned int expectedSize);
    std::int64_t _stepOver(const ChunkStartHeader& header);
    bool _findBefore(unsigned int type, std::int64_t& payload, std::uint32_t& size);
    std::size_t _roomForExpected(unsigned int expectedSize);
    bool _fileHolds(std::int64_t end);
    bool _fileHoldsPayload(const ChunkStartHeader& header);
    bool _readRest(char* target, std::int64_t payload, std::size_t arrived, std::size_t size);
    void _goTo(std::int64_t position);
    void _leaveChunk();

    bool m_loaded = false;           // the payload of the last step is there
    const char* m_payload = nullptr; // in the buffer or the window
    std::int32_t m_size = -1;        // payload size of the current chunk
    std::int64_t m_position = noPosition;
    PayloadBuffer m_buffer;
    const std::unique_ptr<ReadWindow> m_window;
    unsigned int m_expectedSize = 0;
    std::uint32_t m_payloadLimit;
    std::int64_t m_fileLength = -1; // as last seen; asked again when a chunk claims to go beyond it
};

} // namespace zd
