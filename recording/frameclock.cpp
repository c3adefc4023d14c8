#include <recording/frameclock_p.h>

#include <algorithm>
#include <cstdint>

namespace zd {

timeval FrameClock::next(std::chrono::system_clock::time_point wall, std::chrono::steady_clock::time_point steady)
{
    using namespace std::chrono;
    if (wall < m_last)
        wall = m_last + duration_cast<system_clock::duration>(std::max(steady - m_lastSteady, nanoseconds{0}));
    m_last = wall;
    m_lastSteady = steady;
    const std::int64_t total = floor<microseconds>(wall).time_since_epoch().count();
    // Seconds beyond 32 bits (after 2038-01-19) are stored modulo 2^32, as everywhere: intervals stay right.
    return {static_cast<std::int32_t>(total / 1'000'000), static_cast<std::int32_t>(total % 1'000'000)};
}

} // namespace zd
