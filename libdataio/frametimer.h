#pragma once

#include <libdataio/export.h>

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <vector>

#include <sys/time.h>

namespace zd {

class AttributeChunk;
class ChunkInfo;

/// An acquisition time as movies store it: seconds since 1970-01-01 00:00:00 UTC and microseconds, both 32-bit. The system's
/// own type converts to it, so that every operation that takes a time takes either. Programs that use both should not
/// import the namespace `zd` as a whole: plain `timeval` would be ambiguous.
struct DATAIO_EXPORT timeval {
    constexpr timeval() = default;
    constexpr timeval(std::int32_t seconds, std::int32_t microseconds) : tv_sec(seconds), tv_usec(microseconds) {}
    /// Throws `std::out_of_range` for numbers that do not fit 32 bits; otherwise they are taken as they are.
    timeval(const ::timeval& time);

    std::int32_t tv_sec = 0;
    std::int32_t tv_usec = 0; ///< 0 to 999999

    friend auto operator<=>(const timeval&, const timeval&) = default;
};
static_assert(sizeof(timeval) == 8 && std::is_trivially_copyable_v<timeval>, "movies store a time in 8 bytes");

/// Conversions from and to the clocks of the standard library and of the system. Those that return bool
/// give false, with `out` untouched, for a time whose seconds do not fit 32 bits (after 2038-01-19) or whose
/// microseconds are outside 0 to 999999.
DATAIO_EXPORT bool toTimeval(std::chrono::system_clock::time_point time, timeval& out);
DATAIO_EXPORT bool toTimeval(const ::timeval& time, timeval& out);
DATAIO_EXPORT std::chrono::system_clock::time_point toTimePoint(const timeval& time);
DATAIO_EXPORT ::timeval toSystemTimeval(const timeval& time);

/// The acquisition times of a movie's frames, one for each, with their two stored forms: a raw buffer
/// of 8 bytes a time (the frame-timer chunk) and the "frame_timer" attributes of older files.
class DATAIO_EXPORT FrameTimer : public std::vector<timeval> {
public:
    using std::vector<timeval>::vector;

    /// Replaces the list by the times of a raw buffer. False, with nothing changed, when `size` is no
    /// multiple of 8. `buffer` needs no alignment and may be null when `size` is 0.
    bool readFromRawBuffer(const char* buffer, unsigned int size);
    /// The same of a buffer that `fetch` copies to where it is told, a number of bytes. False, with an empty list, when
    /// that gives false.
    bool readFromRawBuffer(unsigned int size, const std::function<bool(void*, std::size_t)>& fetch);
    /// Sorts the list, then writes it. False, with nothing written or sorted, when `size` is no multiple of 8
    /// or too small for the list.
    bool dumpToRawBuffer(char* buffer, unsigned int size);
    /// Replaces the list by the times of the attribute form. False when there is no such form, or when a time
    /// lacks its microseconds (the times before it are kept).
    bool readFromChunkInfo(ChunkInfo& info);
    /// Sorts the list, then stores it as attributes, with the machine's UTC offset of this moment. Always true.
    bool dumpToChunkInfo(ChunkInfo& info);
    /// Removes the attribute form: "frame_timer" and the consecutive numbered times. "utc_offset_seconds" stays.
    static void removeFromAttChunk(AttributeChunk& attributes);

private:
    DATAIO_HIDDEN void sortTimes();
};

} // namespace zd
