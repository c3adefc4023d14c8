#pragma once

#include <libdataio/export.h>

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

namespace zd {

class FDChunkWriter;
class ImageWriter;
struct FileIdentity;

/// How `FileWriter::openFile` treats what is there. Any other number is treated as `FileWriterModify`, which destroys nothing.
enum FileWriterMode : int {
    FileWriterCreate = 0, ///< start a new file; old content is discarded
    FileWriterModify = 1, ///< keep the bytes; a missing file is created empty
};

/// Opens or creates a file by name for reading and writing and writes chunks to it. New files can be read and
/// written by their owner alone. There is no test for a regular file: a device or pipe is opened as asked.
/// Never copied; used by one thread at a time.
class DATAIO_EXPORT FileWriter {
public:
    FileWriter();
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;
    ~FileWriter(); ///< closes the file; it is neither cut nor completed

    /// Closes what is open, then opens `path`, which goes to the system as UTF-8; the position is 0. Reports "FW_OF_OPEN" (create) and
    /// "FW_OF_OPEN2" (modify); nothing is open then. With `locked` a file that another writer has opened so is refused as
    /// well ("Device or resource busy") and stays as it is; without, the file is neither locked nor are locks heeded.
    void openFile(const QString& path, FileWriterMode mode, bool locked = false);
    void closeFile();
    bool openned() const;

    // The operations of `ChunkWriter`. Without an open file steps and positioning give false, `addChunk` and
    // `truncate` report "FDCW_AC_BADFD", `data` is null and `chunkSize` 0.
    int addChunk(unsigned int type, const void* data, unsigned int size);
    void truncate(); ///< cuts the file at the position; reports "FDCW_TRUNC"
    bool nextChunk(unsigned int type);
    bool prevChunk(unsigned int type);
    bool seek(unsigned int position);
    bool seekEnd();
    bool seekPrev();
    const void* data() const;
    int chunkSize() const;
    bool isPayloadWhole() const; ///< whether all bytes of the payload last read have come; true before any
    void dumpDebug() const;      ///< prints the state to standard output

    unsigned int offset() const; ///< the position, 0 without an open file
    int descriptor() const;      ///< borrowed, -1 without an open file; its own offset is not defined
    /// Reports "CHB_LFD_PARSE" unless a chunk of that type and payload size starts at `position`. The position
    /// does not move.
    void requireChunk(unsigned int position, unsigned int type, unsigned int size);
    /// Reports "FDCW_AC_WRITE" when the system says that `bytes` more at the position do not fit on the disk.
    /// A file system that cannot tell counts as having room.
    void reserve(std::int64_t bytes);
    /// Waits until the file's content is on the storage device. Returns whether the system confirms it.
    bool sync();

private:
    friend ImageWriter;

    /// As `openFile`; the file that is locked already, if any, is not locked again.
    DATAIO_HIDDEN void _open(const QString& path, FileWriterMode mode, bool locked,
                             const std::optional<FileIdentity>& lockedAlready);
    [[noreturn]] DATAIO_HIDDEN static void _reportBusy(const QString& path, FileWriterMode mode);
    DATAIO_HIDDEN void _requireOpen() const;

    std::unique_ptr<FDChunkWriter> m_writer;
    int m_openResult = -1;
};

} // namespace zd
