#include <vqf/console/lostframes.h>

#include <vqf/console/console.h>

#include <algorithm>

namespace zd::tool {

namespace {

constexpr std::size_t mostFramesTold = 10;

} // namespace

ExitCode tellLostFrames(const QString& movie, const std::vector<movietools::LostFrame>& lost)
{
    for (std::size_t i = 0; i < std::min(lost.size(), mostFramesTold); ++i)
        complain(QStringLiteral("%1: frame %2 %3").arg(movie).arg(lost[i].frame).arg(lost[i].reason));
    if (lost.size() > mostFramesTold)
        complain(QStringLiteral("%1: and %2 frames more").arg(movie).arg(lost.size() - mostFramesTold));
    return lost.empty() ? ExitCode::Done : ExitCode::SomethingLost;
}

ExitCode tellLostSideData(const QString& movie)
{
    complain(movie +
             QStringLiteral(": has acquisition times or laser powers that cannot be read; vqf verify tells more"));
    return ExitCode::SomethingLost;
}

} // namespace zd::tool
