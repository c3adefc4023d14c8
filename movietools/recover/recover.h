#pragma once

#include <movietools/job/progress.h>
#include <movietools/recover/recoveroptions.h>

namespace zd::movietools {

/// Puts a movie together again: one whose recording or editing was cut off, or that is damaged.
///
/// Every complete frame is kept, in the order of the movie's index where there is one, else as they lie in the
/// file, and with the times, laser powers, fibre centres and other chunks that are left. The header comes from the
/// movie; else from what its recording or edit left beside it; `like`, `attributes` and guesses fill in what is
/// missing to read the frames. A sound movie is copied byte by byte.
///
/// The input is not changed. The output appears only when it is complete, opens and verifies without errors (proved
/// changes of content stay as they are). In place, an edit that died is undone by its journal, or a torn end is cut
/// off and a new one appended; damage before the end is refused there. Throws JobError when nothing can be
/// recovered, and JobCancelled.
RecoverResult recoverMovie(const RecoverOptions& options, const ProgressCallback& progress = {});

} // namespace zd::movietools
