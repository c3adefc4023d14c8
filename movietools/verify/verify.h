#pragma once

#include <movietools/job/progress.h>
#include <movietools/verify/findings.h>

#include <QString>

#include <cstdint>

namespace zd::movietools {

/// What state a movie is in.
enum class Condition : int {
    Sound,              ///< nothing worse than notes
    DamagedButReadable, ///< it opens, with errors or warnings
    NotReadable,        ///< it does not open
};

/// What a verification found out.
struct Verification {
    QString path;
    Condition condition = Condition::NotReadable;
    std::uint64_t bytes = 0;              ///< length of the file
    std::uint64_t chunks = 0;             ///< whole chunks in it
    std::uint64_t frames = 0;             ///< frames that a reader delivers
    std::uint64_t framesWithChecksum = 0; ///< frames whose bytes were compared with a checksum
    Findings findings;
};

/// Examines a movie: its chunks, its index, its header and its side data against each other, and what a recording or
/// an edit left beside it. Pixels are read only to compare them with checksums, when the movie has those; without
/// them a changed pixel, time or laser power goes unnoticed. `progress` counts these frames.
///
/// The names of findings are stable. Errors are what a recovery mends, but for proved changes of content; warnings
/// are contradictions that a recovery leaves as they are. Throws JobError when the file cannot be read at all, and
/// JobCancelled.
Verification verifyMovie(const QString& path, const ProgressCallback& progress = {});

/// The condition in words: "damaged but readable".
QString conditionText(Condition condition);

} // namespace zd::movietools
