#include <recording/ratemeter_p.h>

namespace zd {

using namespace std::chrono_literals;

RateMeter::Rates RateMeter::rates(std::int64_t offeredBytes, std::int64_t storedBytes)
{
    const std::lock_guard lock(m_mutex);
    const Clock::time_point now = Clock::now();
    while (m_seen.size() > 1 && now - m_seen[1].when >= 2s)
        m_seen.pop_front();
    const Seen& since = m_seen.front();
    const double seconds = std::chrono::duration<double>(now - since.when).count();
    Rates rates;
    if (seconds > 0)
        rates = {static_cast<double>(offeredBytes - since.offered) / seconds,
                 static_cast<double>(storedBytes - since.stored) / seconds};
    if (now - m_seen.back().when >= 100ms)
        m_seen.push_back({now, offeredBytes, storedBytes});
    return rates;
}

} // namespace zd
