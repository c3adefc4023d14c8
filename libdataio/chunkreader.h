#pragma once

#include <libdataio/export.h>

namespace zd {

/// Walks a file of chunks forwards and backwards and loads the payload of the chunk it steps over.
///
/// The position lies on a chunk boundary: the start of the next chunk, which is the end of the previous one.
/// A reader is used by one thread at a time.
class DATAIO_EXPORT ChunkReader {
public:
    ChunkReader() = default;
    ChunkReader(const ChunkReader&) = delete;
    ChunkReader& operator=(const ChunkReader&) = delete;
    virtual ~ChunkReader();

    /// Takes the descriptor over; nothing is read and no position set.
    virtual void setFD(int fd);
    /// The payload of the chunk last stepped over, borrowed until the next step. Reports "MM_D_NODATA" when
    /// the last step did not succeed, or the reader was positioned since.
    virtual const void* data() const = 0;
    /// Steps over the chunk that begins at the position, if it has that type; the position is then behind it.
    /// False, with the position unchanged: end of the file, another type, no position. False, with the
    /// position behind the declared chunk: the payload is cut short. Header reports pass through.
    virtual bool nextChunk(unsigned int type) = 0;
    /// Steps over the chunk that ends at the position, if it has that type; the position is then at its start.
    /// False, with the position unchanged, in every other case. Header reports pass through.
    virtual bool prevChunk(unsigned int type) = 0;
    /// Always false.
    virtual bool flag();
    /// Payload size of the chunk last stepped over, -1 when there is none.
    virtual int chunkSize() = 0;
    /// Goes to the start of the file; true. Reports "MM_R_SEEK".
    virtual bool rewind() = 0;
    /// Goes to the end of the file; true. Reports "MM_SE_SEEK".
    virtual bool seekEnd() = 0;
    /// Goes to a chunk boundary; true. Nothing is checked before the next step.
    virtual bool seek(unsigned int position) = 0;
    /// Closes the descriptor; returns what the system said, -1 without descriptor.
    virtual int closeFD() = 0;

    bool openned() const { return m_fd != -1; }

protected:
    int m_fd = -1;
    bool m_flag = false;
};

} // namespace zd
