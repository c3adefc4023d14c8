#include <vqf/console/progressline.h>

#include <vqf/console/interruption.h>
#include <vqf/console/settings.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

namespace zd::tool {

namespace {

constexpr std::chrono::milliseconds untilLong(700);
constexpr std::chrono::milliseconds betweenRenewals(200);
constexpr std::chrono::milliseconds betweenLines(2000);

bool onTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

bool isWanted()
{
    if (settings().quiet || settings().progress == Settings::Progress::Never)
        return false;
    return settings().progress == Settings::Progress::Always || onTerminal();
}

// Whether the terminal understands more than plain lines, and may be told.
bool takesControlSequences()
{
    const char* plain = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return onTerminal() && (plain == nullptr || *plain == '\0') && terminal != nullptr &&
           std::string(terminal) != "dumb";
}

} // namespace

ProgressLine::ProgressLine()
    : m_wanted(isWanted()),
      m_renewed(takesControlSequences()),
      m_next(settings().progress == Settings::Progress::Always ? m_start : m_start + untilLong)
{
}

ProgressLine::~ProgressLine()
{
    if (m_shown && m_renewed)
        std::fputs("\r\033[K", stderr);
}

movietools::ProgressCallback ProgressLine::callback()
{
    return [this](const movietools::Progress& progress) {
        const Clock::time_point now = m_wanted ? Clock::now() : m_start;
        if (m_wanted && now >= m_next) {
            show(progress, now);
            m_next = now + (m_renewed ? betweenRenewals : betweenLines);
        }
        return interruption() == 0;
    };
}

void ProgressLine::show(const movietools::Progress& progress, Clock::time_point now)
{
    m_shown = true;
    const char* begin = m_renewed ? "\r" : "";
    const char* end = m_renewed ? "\033[K" : "\n";
    if (progress.framesDone == 0 || progress.framesTotal == 0) {
        std::fprintf(stderr, "%slooking through %llu frames%s", begin,
                     static_cast<unsigned long long>(progress.framesTotal), end);
        return;
    }
    const double seconds = std::max(std::chrono::duration<double>(now - m_start).count(), 1e-3);
    const auto done = static_cast<double>(progress.framesDone);
    const auto total = static_cast<double>(progress.framesTotal);
    std::fprintf(stderr, "%s%3.0f %%  %.0f frames/s  %.0f MB/s  %.0f s left%s", begin, 100 * done / total,
                 done / seconds, static_cast<double>(progress.bytesDone) / 1e6 / seconds,
                 seconds * (total - done) / done, end);
}

} // namespace zd::tool
