#pragma once

#include <libdataio/export.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

namespace zd {

class FDChunkReader;
class PayloadReader;

/// Opens a regular file by name and walks its chunks. Never copied; used by one thread at a time.
class DATAIO_EXPORT FileReader {
public:
    FileReader();
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;
    ~FileReader(); ///< closes the file

    /// Closes what is open, then opens `path` for reading; there is no position yet. The path goes to the system as UTF-8,
    /// whatever the locale. Reports "FR_OF_STAT",
    /// "FR_OF_REGFILE" and "FR_OF_OPEN"; nothing is open then.
    void openFile(const QString& path);
    void closeFile();
    bool openned() const;

    // The operations of `ChunkReader`. Without an open file steps and positioning give false, `data` reports
    // "MM_D_NODATA" and `chunkSize` is -1.
    bool rewind();
    bool seekEnd();
    bool nextChunk(unsigned int type);
    bool prevChunk(unsigned int type);
    /// The first `size` bytes of the payload go to `target`; see `FDChunkReader::nextChunk`.
    bool nextChunk(unsigned int type, void* target, std::size_t size);
    const void* data() const;
    int chunkSize();
    bool seek(int position);

    /// As `seek`, telling how long the payload there is expected to be, so that one system call can fetch
    /// header and payload together. A wrong guess costs time, never a wrong result. Where the steps so far have led, the
    /// sequence goes on with what has been read ahead, half a MiB at most; `seek` alone makes the next step look again.
    bool seek(int position, unsigned int expectedSize);

    /// From now on, payloads of more bytes are left alone: steps treat them as ones that the file does not hold. Holds
    /// for files opened later too.
    void setPayloadLimit(std::uint32_t bytes);

    /// As the steps, leaving the reading of the payload to the caller; null where they give false. There is no current
    /// chunk then. The reader given is usable while the file is open.
    std::unique_ptr<PayloadReader> nextPayload(unsigned int type);
    std::unique_ptr<PayloadReader> prevPayload(unsigned int type);

private:
    std::unique_ptr<FDChunkReader> m_reader;
    std::uint32_t m_payloadLimit = std::numeric_limits<std::uint32_t>::max();
};

} // namespace zd
