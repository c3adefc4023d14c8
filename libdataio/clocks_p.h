#pragma once

#include <chrono>
#include <cstdint>

namespace zd {

/// The clocks of the library. Tests replace entries to set a clock back; nothing else changes the table.
struct Clocks {
    std::int64_t (*wall)();   ///< microseconds since 1970-01-01 00:00:00 UTC
    std::int64_t (*steady)(); ///< microseconds since any start; never goes back
};

template <typename Clock>
std::int64_t microsecondsNow()
{
    return std::chrono::floor<std::chrono::microseconds>(Clock::now()).time_since_epoch().count();
}

/// The table in use.
inline Clocks clocks = {.wall = microsecondsNow<std::chrono::system_clock>,
                        .steady = microsecondsNow<std::chrono::steady_clock>};

} // namespace zd
