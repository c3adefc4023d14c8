#pragma once

#include <libdataio/chunkreader.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zd {

class PayloadReader;

/// `ChunkReader` on an open file descriptor, which it closes when it is destroyed.
///
/// Positions reach 2^32 - 1; a longer file is refused by `seekEnd`. A payload that the file cannot hold is not
/// allocated. Payloads lie at addresses that are a multiple of 16.
///
/// When small chunks are stepped over in sequence the file is read ahead, half a MiB at a time. A step then
/// delivers what the file held when its stretch was read; any other movement makes the next step look again, and no step
/// fails or finds nothing without having looked at the file.
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

    /// As `seek`, telling how long the payload there is expected to be; see `expectSize`. When the steps so far have led to
    /// that position the sequence goes on: what was read ahead stays.
    bool seek(unsigned int position, unsigned int expectedSize);
    /// Whether others look at the descriptor's own offset. On at first: `nextChunk` and `prevChunk` then leave it behind the
    /// bytes that they looked at. Off saves them a system call; the offset is then not defined.
    void setOffsetShared(bool shared);

    /// As `nextChunk`, but the first `size` bytes of the payload go to `target`, without another buffer: `data` reports
    /// "MM_D_NODATA" afterwards. What lies in `target` behind the payload, and all of it after a step that gave false or
    /// failed, is not defined. `target` may be null for 0 bytes, which checks the header alone.
    bool nextChunk(unsigned int type, void* target, std::size_t size);

    /// How long the payload of the next forward step is expected to be. A right guess saves system calls.
    void expectSize(unsigned int size);
    /// From now on, payloads of more bytes are left alone: steps treat them as ones that the file does not hold.
    void setPayloadLimit(std::uint32_t bytes);

    // Steps that find a payload and leave its reading to the caller: the position moves as in `nextChunk` and
    // `prevChunk`, the descriptor's own offset does not, and there is no current chunk. Null, with the position unchanged,
    // where those give false.

    std::unique_ptr<PayloadReader> nextPayload(unsigned int type);
    std::unique_ptr<PayloadReader> prevPayload(unsigned int type);

private:
    struct DATAIO_HIDDEN Private;

    template <typename TakeAhead, typename Read>
    DATAIO_HIDDEN bool _step(unsigned int type, TakeAhead takeAhead, Read read);

    const std::unique_ptr<Private> m_d;
};

} // namespace zd
