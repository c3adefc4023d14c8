#include <vqf/arguments/framearguments.h>

#include <movietools/exchange/frametable.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/timetext.h>
#include <vqf/arguments/usageerror.h>

#include <cmath>
#include <optional>

namespace zd::tool {

void FrameArguments::addTo(const Syntax& syntax)
{
    m_rateOption = syntax.option("--rate", m_rate, "Frames per second; kept as the frame delay in ms").typeName("HZ");
    syntax.option("--times", m_times, "Times of the frames, in seconds since 1970 or since --start").typeName("FILE");
    syntax.option("--start", m_start, "Time of the first frame; with --rate every frame gets its time")
        .typeName("TIME");
    m_laserPowerOption =
        syntax.option("--laser-power", m_laserPower, "Laser power of all frames, 0 to 1").typeName("POWER");
    syntax.option("--laser-powers", m_laserPowers, "Laser powers of the frames, 0 to 1; -1: not known")
        .typeName("FILE")
        .excludes(m_laserPowerOption);
    syntax.option("--table", m_table, "Times and laser powers, as vqf export -o table.csv writes them")
        .typeName("FILE");
}

void FrameArguments::applyTo(movietools::ImportOptions& options) const
{
    applyTable(options);
    applyTimes(options);
    applyLaserPowers(options);
}

void FrameArguments::applyTable(movietools::ImportOptions& options) const
{
    if (m_table.empty())
        return;
    const movietools::FrameTable table = movietools::readFrameTable(QString::fromStdString(m_table));
    for (const std::optional<timeval>& time : table.times)
        if (time)
            options.times.push_back(*time);
    if (!options.times.empty() && options.times.size() != table.times.size())
        throw UsageError{"--table " + m_table + ": has times of some frames only"};
    options.laserPowers = table.laserPowers;
}

void FrameArguments::applyTimes(movietools::ImportOptions& options) const
{
    if (m_rateOption.isGiven()) {
        if (!(m_rate > 0) || !std::isfinite(m_rate))
            throw UsageError{"--rate must be above 0 frames per second"};
        options.frameRate = m_rate;
    }
    std::optional<timeval> start;
    if (!m_start.empty()) {
        start = movietools::parseTime(QString::fromStdString(m_start));
        if (!start)
            throw UsageError{"--start " + m_start + ": write it as 2024-03-01T10:00:00Z, a time before 2038"};
        if (m_times.empty() && !options.frameRate)
            throw UsageError{"--start needs --rate or --times"};
    }
    if (m_times.empty())
        options.start = start;
    else
        options.times = movietools::readFrameTimes(QString::fromStdString(m_times), start);
}

void FrameArguments::applyLaserPowers(movietools::ImportOptions& options) const
{
    if (m_laserPowerOption.isGiven()) {
        if (!movietools::isLaserPower(m_laserPower) || m_laserPower < 0)
            throw UsageError{"--laser-power is a fraction of full power, from 0 to 1"};
        options.laserPower = static_cast<float>(m_laserPower);
    }
    if (!m_laserPowers.empty())
        options.laserPowers = movietools::readLaserPowers(QString::fromStdString(m_laserPowers));
}

} // namespace zd::tool
