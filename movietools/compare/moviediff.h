#pragma once

#include <movietools/compare/moviedifferences.h>
#include <movietools/job/progress.h>

#include <QString>

namespace zd::movietools {

/// Compares two closed movies: structure, attributes, times, laser powers, fibre centres and every sample, in the byte
/// order of this machine. Holds one frame of each in memory. Throws JobError, also for a frame that cannot be read, and
/// JobCancelled.
MovieDifferences compareMovies(const QString& a, const QString& b, const ProgressCallback& progress = {});

} // namespace zd::movietools
