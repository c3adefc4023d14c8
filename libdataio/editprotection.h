#pragma once

namespace zd {

/// What protects the open edit of a closed movie against a crash.
enum class EditProtection : int {
    None = 0,           ///< no edit is open
    Journal = 1,        ///< the journal beside the movie: a crash leaves the old movie or the new one
    NoFolder = 2,       ///< nothing: no journal can be made in the movie's folder
    ForeignJournal = 3, ///< nothing: a `<name>-journal` is there that is not this movie's, or not to be trusted
    Off = 4,            ///< nothing: `setJournaled(false)`
};

} // namespace zd
