#pragma once

#include <libdataio/attributechunk.h>
#include <movietools/recover/recoveroptions.h>
#include <movietools/recover/recoverysurvey_p.h>

namespace zd::movietools {

/// The header of a recovered movie.
struct RecoveredHeader {
    AttributeChunk attributes;
    HeaderOrigin origin = HeaderOrigin::Nowhere;
    QStringList guessed;
};

/// Finds the header of a movie, or puts one together with which its frames can be read. Throws JobError when
/// `options.like` cannot be read or has frames of another size.
RecoveredHeader recoverHeader(const RecoverySurvey& survey, const RecordingRemains& remains,
                              const RecoverOptions& options);

} // namespace zd::movietools
