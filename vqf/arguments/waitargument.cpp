#include <vqf/arguments/waitargument.h>

#include <movietools/job/joberror.h>
#include <movietools/job/progress.h>
#include <vqf/arguments/usageerror.h>
#include <vqf/console/console.h>
#include <vqf/console/interruption.h>
#include <vqf/console/settings.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <thread>

#include <unistd.h>

namespace zd::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto betweenTries = std::chrono::milliseconds(100);
constexpr const char* flagAlone = "true"; // what the parser makes of --wait without a number

void sayWhatFor(const movietools::JobError& busy)
{
    if (::isatty(STDERR_FILENO) == 1 && !settings().quiet)
        complain(QStringLiteral("%1: %2; waiting until that has ended (Ctrl-C stops)")
                     .arg(escaped(busy.path), busy.problem));
}

} // namespace

void WaitArgument::addTo(const Syntax& syntax)
{
    syntax
        .flag("--wait", m_text, "Wait while another program records or changes the movie: for ever, or so many seconds")
        .valueText("[=SECONDS]");
}

double WaitArgument::seconds() const
{
    if (m_text.empty())
        return 0;
    if (m_text == flagAlone)
        return std::numeric_limits<double>::infinity();
    bool isNumber = false;
    const double seconds = QString::fromStdString(m_text).toDouble(&isNumber);
    if (!isNumber || !(seconds >= 0))
        throw UsageError{"--wait=" + m_text + ": write seconds, like --wait=60"};
    return seconds;
}

void WaitArgument::whenFree(const std::function<void()>& job) const
{
    const double patience = seconds();
    const Clock::time_point start = Clock::now();
    for (bool isFirst = true;; isFirst = false) {
        try {
            return job();
        } catch (const movietools::JobError& error) {
            if (!error.isBusy || std::chrono::duration<double>(Clock::now() - start).count() >= patience)
                throw;
            if (isFirst)
                sayWhatFor(error);
        }
        std::this_thread::sleep_for(betweenTries);
        if (interruption() != 0)
            throw movietools::JobCancelled{};
    }
}

} // namespace zd::tool
