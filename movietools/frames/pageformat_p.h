#pragma once

#include <libdataio/pixeltypes.h>

#include <cstdint>
#include <limits>

namespace zd::movietools {

/// Longest frame of any movie, in bytes.
inline constexpr std::uint64_t largestFrame = std::numeric_limits<std::int32_t>::max();

/// What the frames of one movie have in common.
struct PageFormat {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    bool whiteIsZero = false; ///< the smallest grey value shows as white

    std::uint64_t frameBytes() const;
    friend bool operator==(const PageFormat&, const PageFormat&) = default;
};

} // namespace zd::movietools
