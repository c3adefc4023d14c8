#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <mutex>

namespace zd {

/// Rates over the last seconds, from what those who ask see.
class RateMeter {
public:
    struct Rates {
        double offered = 0; ///< bytes per second
        double stored = 0;
    };

    /// The rates since what was seen two seconds ago, or before that, or at the start.
    Rates rates(std::int64_t offeredBytes, std::int64_t storedBytes);

private:
    using Clock = std::chrono::steady_clock;
    struct Seen {
        Clock::time_point when;
        std::int64_t offered;
        std::int64_t stored;
    };

    std::mutex m_mutex;
    std::deque<Seen> m_seen{{Clock::now(), 0, 0}};
};

} // namespace zd
