#pragma once

#include <libdataio/chunkframing.h>
#include <libdataio/movieheader_p.h>

#include <cstdint>

namespace zd {

class FrameLists;

/// Keeps account of the room below a movie's size limit, so that a movie can always be closed.
class RoomAccount {
public:
    std::uint64_t limit() const { return m_limit; }
    /// 2^32 - 1 at most.
    void setLimit(std::uint64_t bytes);
    /// The tail has become longer than the frames made it.
    void checkAgain() { m_checkedTo = 0; }

    /// Payload bytes of one more frame at `end` that leave room for what `close` writes; negative when there is no room even
    /// for none.
    std::int64_t left(std::int64_t end, const MovieHeader& header, const FrameLists& lists) const;
    /// Whether a frame of `size` bytes at `end` leaves room. Hardly ever has to count.
    bool admits(std::int64_t size, std::int64_t end, const MovieHeader& header, const FrameLists& lists)
    {
        const std::int64_t newEnd = end + layout::framingBytes + size;
        return (newEnd <= m_checkedTo && m_checkedWith.sameCalls(header)) || _count(size, end, header, lists);
    }

private:
    bool _count(std::int64_t size, std::int64_t end, const MovieHeader& header, const FrameLists& lists);

    std::uint64_t m_limit = layout::commonSizeLimit;
    std::int64_t m_checkedTo = 0; // up to this end of the movie the tail is known to fit ...
    SeenAttributes m_checkedWith; // ... with these attributes
};

} // namespace zd
