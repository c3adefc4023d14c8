#pragma once

#include <movietools/job/progress.h>
#include <movietools/movie/movieedit.h>

#include <QString>

namespace zd::movietools {

/// What `addChecksums` did.
enum class ChecksumsAdded : int {
    Added,
    Replaced,     ///< the movie had others
    AlreadyThere, ///< the movie has these already
};

/// Stores checksums in the header of a closed movie that is sound. When the movie has others already, which is what
/// damage looks like, it is left alone unless `replace` says otherwise. Throws JobError and JobCancelled.
ChecksumsAdded addChecksums(const QString& movie, bool replace, const ProgressCallback& progress = {},
                            WithoutJournal withoutJournal = WithoutJournal::Refuse);

} // namespace zd::movietools
