#pragma once

#include <libdataio/chunkindex.h>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace zd {

class FileWriter;

/// Where a movie that is being written ends, and which bytes behind that a failed attempt has left: a write that failed, or a
/// `close` that did.
class MovieTail {
public:
    /// The movie ends at `end`, and nothing lies behind it.
    void reset(std::int64_t end);
    /// The end of the last complete chunk.
    std::int64_t chunksEnd() const { return m_chunksEnd; }
    /// The end of the frames: what a `close` that failed has written does not count.
    std::int64_t framesEnd() const { return m_start.value_or(m_chunksEnd); }

    /// From here on chunks belong to the tail.
    void begin() { m_start = m_chunksEnd; }
    /// The tail is whole, or nobody needs it any more.
    void end() { m_start.reset(); }
    /// Gives up what a `close` that failed has written; false when there is no such thing.
    bool takeBack();

    /// Goes behind the last complete chunk, having cut what a failed attempt has left there; false when the system refuses to
    /// go there.
    bool moveTo(FileWriter& file);
    /// The same, but looks where the file really ends: behind a chunk that somebody else has appended.
    bool moveToRealEnd(FileWriter& file);
    /// Appends a chunk. `size` must fit the file.
    ChunkRecord append(FileWriter& file, int type, const void* data, std::size_t size);

private:
    std::int64_t m_chunksEnd = 0;
    std::optional<std::int64_t> m_start;      // where a `close` began to write
    std::optional<std::int64_t> m_remainsEnd; // up to here, the bytes behind the end are those of a failed attempt
};

} // namespace zd
