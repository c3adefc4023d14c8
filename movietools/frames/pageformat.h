#pragma once

#include <libdataio/pixeltypes.h>

#include <QString>

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

/// "640 x 480, 16-bit unsigned, white is zero".
QString formatText(const PageFormat& format);

/// Whether samples of two types are the same: types of one kind and length are.
bool haveSameSamples(ZDImagePixelType a, ZDImagePixelType b);

} // namespace zd::movietools
