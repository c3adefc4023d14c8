#pragma once

#include <libdataio/frametimer.h>
#include <libdataio/growth_p.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace zd {

/// What a movie's writer keeps of the frames, in memory until `close`: times and laser powers, in step with the frame
/// records; and the fibre centres.
class FrameLists {
public:
    /// Empties the lists. With `autotime` frames without a time get the clock's.
    void clear(bool autotime);
    void setAutotime(bool on) { m_autotime = on; }
    bool autotime() const { return m_autotime; }
    /// The time of a frame that is recorded now: the wall clock's, but where that has been set back times go on from the
    /// last one by the steady clock, until the wall clock has caught up. Seconds beyond 32 bits (after 2038-01-19) are
    /// stored modulo 2^32: intervals stay right.
    timeval clockTime();

    /// Makes room for one more frame, so that `append` cannot fail.
    void makeRoom(bool timed)
    {
        zd::makeRoom(laserPowers);
        if (timed || m_autotime)
            zd::makeRoom(times);
    }
    /// The time that is recorded, or null when there is none.
    const timeval* append(const timeval* time, float laserPower)
    {
        laserPowers.push_back(laserPower);
        if (time == nullptr && !m_autotime)
            return nullptr;
        times.push_back(time != nullptr ? *time : clockTime());
        return &times.back();
    }
    /// Makes the list of laser powers as long as the movie, for which there must be room; whether it grew.
    bool fillUpLaserPowers(std::size_t frames);

    FrameTimer times;
    std::vector<float> laserPowers;
    std::vector<float> fiberCenters; // x0, y0, x1, y1, ... in pixels

private:
    bool m_autotime = true;
    std::int64_t m_lastTime = std::numeric_limits<std::int64_t>::min(); // of the clock, in microseconds ...
    bool m_wallIsBehind = false;
    std::int64_t m_lastSteady = 0; // ... and what the steady clock showed then
};

} // namespace zd
