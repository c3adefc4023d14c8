#include <libdataio/framelists_p.h>

#include <chrono>

namespace zd {

void FrameLists::clear(bool autotime)
{
    m_autotime = autotime;
    times.clear();
    laserPowers.clear();
    fiberCenters.clear();
}

timeval FrameLists::clockTime()
{
    using namespace std::chrono;
    const std::int64_t microseconds = floor<std::chrono::microseconds>(system_clock::now()).time_since_epoch().count();
    return {static_cast<std::int32_t>(microseconds / 1'000'000), static_cast<std::int32_t>(microseconds % 1'000'000)};
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
