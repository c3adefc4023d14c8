#pragma once

#include <libdataio/export.h>

namespace zd {

/// Writes chunks to a file open for reading and writing, and moves about in it chunk by chunk.
///
/// The position lies on a chunk boundary: the start of the next chunk, which is the end of the previous one.
/// A writer is used by one thread at a time.
class DATAIO_EXPORT ChunkWriter {
public:
    ChunkWriter() = default;
    ChunkWriter(const ChunkWriter&) = delete;
    ChunkWriter& operator=(const ChunkWriter&) = delete;
    virtual ~ChunkWriter();

    /// Takes the descriptor over; the position stays as it is.
    virtual void setFD(int fd) = 0;
    /// Writes a complete chunk at the position, over whatever lies there; returns the offset of its start
    /// header (unsigned, carried in an int). The position is then behind the chunk; after a failure it
    /// is unchanged, so that a retry overwrites the partial chunk. `data` may be null when `size` is 0.
    /// Reports "FDCW_AC_BADFD", "FDCW_AC_SEEK", "CHB_WFD_WRITE", "FDCW_AC_WRITE".
    virtual int addChunk(unsigned int type, const void* data, unsigned int size) = 0;
    /// Closes the descriptor; returns what the system said, -1 without descriptor.
    virtual int closeFD() = 0;
    /// Reads the chunk that begins at the position, if it has that type, and goes behind it. False at the end
    /// of the file and for another type, with everything as it was. A payload that is cut short is accepted and
    /// filled up with zeros. Header reports and "FDCW_NC_SEEK", "FDCW_NC_READ" pass through.
    virtual bool nextChunk(unsigned int type) = 0;
    /// The same for the chunk that ends at the position; the position is then at its start. Reports
    /// "FDCW_PC_SEEK1", "FDCW_PC_SEEK2" (also for a payload that would begin before the file), "FDCW_PC_READ".
    virtual bool prevChunk(unsigned int type) = 0;
    virtual bool openned() const = 0;
    /// Goes to an offset; false, with the position unchanged, when the system refuses.
    virtual bool seek(unsigned int position) = 0;
    /// Goes to the end of the file; false, with the position unchanged, when that fails or the file is
    /// longer than positions reach.
    virtual bool seekEnd() = 0;
    /// Goes back over one chunk of any type without reading its payload. False at the start of the file, when that chunk
    /// is the file's first, and when it would begin before the file. Header reports pass through.
    virtual bool seekPrev() = 0;
    virtual unsigned int offset() const = 0; ///< the position
    /// The payload last read, borrowed until the next step; null before any.
    virtual const void* data() const = 0;
    virtual int chunkSize() const = 0; ///< size of the payload last read, 0 before any
    /// Prints the state to standard output.
    virtual void dumpDebug() const = 0;
};

} // namespace zd
