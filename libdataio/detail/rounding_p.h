#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

// Conversions that are defined for every value. They compile to straight-line code without calls, so that loops
// over them vectorise on any machine.
namespace zd::detail {

/// The nearest integer, ties to even, as `std::nearbyint` gives it.
inline float roundHalfEven(float value)
{
    // From 2^23 on every float is an integer; below, adding it leaves no room for a fraction.
    constexpr float integral = 0x1p23F;
    const float magnitude = std::fabs(value);
    const float rounded = std::copysign((magnitude + integral) - integral, value);
    return magnitude < integral ? rounded : value;
}

/// The integer part, limited to the range of the type; 0 for what is not a number.
inline std::int32_t toInt32(double value)
{
    constexpr double lowest = std::numeric_limits<std::int32_t>::min();
    constexpr double highest = std::numeric_limits<std::int32_t>::max();
    if (!(value >= lowest))
        return value < lowest ? std::numeric_limits<std::int32_t>::min() : 0;
    return value >= highest ? std::numeric_limits<std::int32_t>::max() : static_cast<std::int32_t>(value);
}

} // namespace zd::detail
