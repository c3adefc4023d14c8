#pragma once

#include <movietools/job/lostframe.h>
#include <vqf/console/exitcode.h>

#include <vector>

namespace zd::tool {

/// Tells which frames of a movie a result lacks, of many the first ones. Returns what the program ends with: done, or
/// something lost.
ExitCode tellLostFrames(const QString& movie, const std::vector<movietools::LostFrame>& lost);

/// The same of a movie that has times or laser powers which cannot be read.
ExitCode tellLostSideData(const QString& movie);

} // namespace zd::tool
