#pragma once

#include <movietools/frames/frameintervals.h>
#include <vqf/console/table.h>

#include <QString>

#include <cstddef>

namespace zd::tool {

/// Prints how regularly the frames of a movie follow each other. `frames` is how many were looked at, with or without
/// a time.
void printFrameStatistics(const movietools::FrameIntervals& intervals, std::size_t frames, const QString& movie,
                          TableFormat format);

} // namespace zd::tool
