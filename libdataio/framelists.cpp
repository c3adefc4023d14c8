#include <libdataio/framelists_p.h>

#include <libdataio/clocks_p.h>

#include <algorithm>

namespace zd {

void FrameLists::clear(bool autotime)
{
    m_autotime = autotime;
    m_lastTime = std::numeric_limits<std::int64_t>::min();
    m_wallIsBehind = false;
    times.clear();
    laserPowers.clear();
    fiberCenters.clear();
}

timeval FrameLists::clockTime()
{
    constexpr std::int64_t perSecond = 1'000'000;
    const std::int64_t steady = clocks.steady();
    std::int64_t now = clocks.wall();
    if (now < m_lastTime || m_wallIsBehind) {
        const std::int64_t goneOn = m_lastTime + (steady - m_lastSteady);
        m_wallIsBehind = now < goneOn;
        now = std::max(now, goneOn);
    }
    m_lastTime = now;
    m_lastSteady = steady;
    const std::int64_t microseconds = (now % perSecond + perSecond) % perSecond;
    return {static_cast<std::int32_t>((now - microseconds) / perSecond), static_cast<std::int32_t>(microseconds)};
}

bool FrameLists::fillUpLaserPowers(std::size_t frames)
{
    constexpr float notKnown = -1;
    if (laserPowers.size() >= frames)
        return false;
    laserPowers.resize(frames, notKnown);
    return true;
}

} // namespace zd
