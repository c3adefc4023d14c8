#pragma once

#include <movietools/files/bytesource.h>
#include <movietools/job/progress.h>
#include <movietools/recover/recoveryplan_p.h>

#include <QString>

namespace zd::movietools {

/// Writes the movie that a plan describes to a file that is there. Throws IOFileException for failures of writing,
/// JobError for those of reading, and JobCancelled.
void writeRecovered(const RecoveryPlan& plan, const ByteSource& source, const QString& path,
                    const ProgressCallback& progress);

/// Makes a movie what a plan describes without moving what is kept. Requires that this lies at its beginning, without
/// damage or gaps, in the order of the plan: throws JobError before anything changes. A chunk of side data that is
/// there already stays.
void writeRecoveredInPlace(const RecoveryPlan& plan, const ByteSource& source, const QString& path);

} // namespace zd::movietools
