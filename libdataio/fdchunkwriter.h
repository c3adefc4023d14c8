#pragma once

#include <libdataio/chunkwriter.h>

#include <cstdint>
#include <memory>

namespace zd {

class FileLock;
class FileWriter;

/// `ChunkWriter` on an open file descriptor, which it closes when it is destroyed.
///
/// Positions reach 2^32 - 1: a chunk that would end beyond is refused before anything is written
/// ("FDCW_AC_WRITE"), and `seekEnd` refuses a longer file. While a file grows it may hold room on the disk beyond its
/// end, which closing gives back.
class DATAIO_EXPORT FDChunkWriter : public ChunkWriter {
public:
    FDChunkWriter();
    ~FDChunkWriter() override;

    void setFD(int fd) override;
    int addChunk(unsigned int type, const void* data, unsigned int size) override;
    int closeFD() override;
    bool nextChunk(unsigned int type) override;
    bool prevChunk(unsigned int type) override;
    bool openned() const override;
    bool seek(unsigned int position) override;
    bool seekEnd() override;
    bool seekPrev() override;
    unsigned int offset() const override;
    const void* data() const override;
    int chunkSize() const override;
    void dumpDebug() const override;

    /// Cuts the file at the position, or lengthens it with zeros up to there. Reports "FDCW_TRUNC".
    void truncateFile();

    int descriptor() const;
    /// Whether all bytes of the payload last read have come; what is missing reads as zeros.
    bool isPayloadWhole() const;
    /// Reports "CHB_LFD_PARSE" unless a chunk of that type and payload size starts at `position`.
    void requireChunk(unsigned int position, unsigned int type, unsigned int size);
    /// Reports "FDCW_AC_WRITE" when the system says that `bytes` more at the position do not fit on the disk.
    void reserve(std::int64_t bytes);

    /// Whether others look at the descriptor's own offset. On at first: `addChunk` then leaves it behind what it wrote, as
    /// each step leaves it behind what it read. Off saves `addChunk` a system call; its offset is then not defined.
    void setOffsetShared(bool shared);

    /// The reports of writing, for callers that refuse a chunk before they hand it over. They name `addChunk` as their
    /// place, whoever calls.
    [[noreturn]] static void reportNotOpen();
    [[noreturn]] static void reportSeekFailure();
    [[noreturn]] static void reportWriteFailure(int error);
    /// "FDCW_PC_READ", for callers that do not accept a payload that came short.
    [[noreturn]] static void reportShortPayload();

private:
    friend FileWriter;
    struct DATAIO_HIDDEN Private;

    /// Keeps a lock on the descriptor's file until that is closed.
    DATAIO_HIDDEN void _keepLock(FileLock lock);
    DATAIO_HIDDEN int _readPayload(std::int64_t position, std::uint32_t size);
    [[noreturn]] DATAIO_HIDDEN void _reportPartialChunk(std::int64_t written, int error, std::uint32_t size);

    const std::unique_ptr<Private> m_d;
};

} // namespace zd
