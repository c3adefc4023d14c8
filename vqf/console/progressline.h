#pragma once

#include <movietools/job/progress.h>

#include <chrono>

namespace zd::tool {

/// One line on standard error that tells how far a job is: shown as the settings say when the job takes long, renewed
/// a few times a second and erased at the end; where that is no terminal, or one without colours, lines follow
/// each other. Also what stops a job after a signal.
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

    bool m_wanted;
    bool m_renewed; // in place
    bool m_shown = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_next;
};

} // namespace zd::tool
