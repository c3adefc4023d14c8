#pragma once

#include <movietools/progress.h>

#include <chrono>

namespace zd::tool {

/// One line on standard error that tells how far a job is: shown when that is a terminal and the job takes long,
/// renewed a few times a second, erased at the end. Also what stops a job after a signal.
class ProgressLine {
public:
    ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine(); ///< erases the line

    /// The callback for a job, valid as long as this object.
    movietools::ProgressCallback callback();

private:
    using Clock = std::chrono::steady_clock;

    void show(const movietools::Progress& progress, Clock::time_point now);

    bool m_onTerminal;
    bool m_shown = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_next;
};

} // namespace zd::tool
