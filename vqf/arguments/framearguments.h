#pragma once

#include <vqf/parser/syntax.h>

#include <movietools/exchange/movieimport.h>

#include <memory>
#include <string>

namespace zd::tool {

/// The arguments that give times and laser powers to frames that are added to a movie.
class FrameArguments {
public:
    /// Adds the options to a subcommand. The object must live until the arguments were used.
    void addTo(const Syntax& syntax);
    /// Hands what was given to a job. Throws UsageError and JobError.
    void applyTo(movietools::ImportOptions& options) const;

private:
    void applyTimes(movietools::ImportOptions& options) const;
    void applyTable(movietools::ImportOptions& options) const;
    void applyLaserPowers(movietools::ImportOptions& options) const;

    double m_rate = 0;
    std::string m_times;
    std::string m_table;
    std::string m_start;
    double m_laserPower = 0;
    std::string m_laserPowers;
    Option m_rateOption;
    Option m_laserPowerOption;
};

} // namespace zd::tool
