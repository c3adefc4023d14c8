#include <vqf/progressline.h>

#include <vqf/interruption.h>

#include <cstdio>

#include <unistd.h>

namespace zd::tool {

namespace {

constexpr std::chrono::milliseconds untilLong(700);
constexpr std::chrono::milliseconds betweenLines(200);

} // namespace

ProgressLine::ProgressLine() : m_onTerminal(::isatty(STDERR_FILENO) == 1), m_next(m_start + untilLong) {}

ProgressLine::~ProgressLine()
{
    if (m_shown)
        std::fputs("\r\033[K", stderr);
}

movietools::ProgressCallback ProgressLine::callback()
{
    return [this](const movietools::Progress& progress) {
        const Clock::time_point now = m_onTerminal ? Clock::now() : m_start;
        if (now >= m_next) {
            show(progress, now);
            m_next = now + betweenLines;
        }
        return interruption() == 0;
    };
}

void ProgressLine::show(const movietools::Progress& progress, Clock::time_point now)
{
    m_shown = true;
    if (progress.framesDone == 0) {
        std::fprintf(stderr, "\rlooking through %llu frames\033[K",
                     static_cast<unsigned long long>(progress.framesTotal));
        return;
    }
    const double seconds = std::chrono::duration<double>(now - m_start).count();
    const auto done = static_cast<double>(progress.framesDone);
    const auto total = static_cast<double>(progress.framesTotal);
    std::fprintf(stderr, "\r%3.0f %%  %.0f frames/s  %.0f MB/s  %.0f s left\033[K", 100 * done / total, done / seconds,
                 static_cast<double>(progress.bytesDone) / 1e6 / seconds, seconds * (total - done) / done);
}

} // namespace zd::tool
