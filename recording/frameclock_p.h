#pragma once

#include <libdataio/frametimer.h>

#include <chrono>

namespace zd {

/// Times of frames by the wall clock that never run backwards: while the wall clock shows an earlier time than the frame
/// before has, times go on from there by the steady clock.
class FrameClock {
public:
    timeval now()
    {
        using namespace std::chrono;
        return next(system_clock::now(), steady_clock::now());
    }
    timeval next(std::chrono::system_clock::time_point wall, std::chrono::steady_clock::time_point steady);

private:
    std::chrono::system_clock::time_point m_last{};
    std::chrono::steady_clock::time_point m_lastSteady{};
};

/// From `earlier` to `later`.
inline std::chrono::microseconds between(timeval earlier, timeval later)
{
    return std::chrono::seconds{std::int64_t{later.tv_sec} - earlier.tv_sec} +
           std::chrono::microseconds{later.tv_usec - earlier.tv_usec};
}

} // namespace zd
