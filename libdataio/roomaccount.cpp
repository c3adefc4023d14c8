#include <libdataio/roomaccount_p.h>

#include <libdataio/framelists_p.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/sidedata_p.h>

#include <algorithm>
#include <utility>

namespace zd {

namespace {

/// Room that is kept free below the size limit for header values that are yet to come.
constexpr std::int64_t largestReserve = 1 << 20;
constexpr std::int64_t reserveFraction = 1024;

template <typename List>
std::int64_t sizeOf(const List& list)
{
    return static_cast<std::int64_t>(list.size());
}

/// Bytes that `close` writes when one more frame has been recorded.
std::int64_t tailSize(const MovieHeader& header, const FrameLists& lists)
{
    std::int64_t records = 1 + 3; // the frame and the side data
    for (const auto& [type, list] : header)
        records += sizeOf(list);
    std::int64_t text = 0;
    for (const auto& [name, value] : header.attributes())
        text += name.size() + value.text().size() + 2;
    return 4 * layout::framingBytes +
           sidedata::size(sizeOf(lists.times) + 1, sizeOf(lists.laserPowers) + 1, sizeOf(lists.fiberCenters)) +
           layout::indexCountBytes + records * layout::indexRecordBytes + text;
}

} // namespace

void RoomAccount::setLimit(std::uint64_t bytes)
{
    m_limit = std::min(bytes, layout::largestSizeLimit);
    checkAgain();
}

std::int64_t RoomAccount::left(std::int64_t end, const MovieHeader& header, const FrameLists& lists) const
{
    const auto limit = static_cast<std::int64_t>(m_limit);
    const std::int64_t reserve = std::min(largestReserve, limit / reserveFraction);
    return limit - reserve - end - layout::framingBytes - tailSize(header, lists);
}

bool RoomAccount::_count(std::int64_t size, std::int64_t end, const MovieHeader& header, const FrameLists& lists)
{
    const std::int64_t leftOver = left(end, header, lists) - size;
    if (leftOver < 0)
        return false;
    // A frame adds less to the tail than to the file, so half of what is left holds both.
    m_checkedTo = end + layout::framingBytes + size + leftOver / 2;
    m_checkedWith.note(header);
    return true;
}

} // namespace zd
