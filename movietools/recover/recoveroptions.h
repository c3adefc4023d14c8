#pragma once

#include <movietools/verify/verify.h>

#include <QString>
#include <QStringList>

#include <cstdint>
#include <utility>
#include <vector>

namespace zd::movietools {

/// What to recover, into what, and what to help with.
struct RecoverOptions {
    QString movie;
    QString output;       ///< the movie to make; not used in place
    bool replace = false; ///< whether an output that exists is replaced
    bool inPlace = false; ///< change the movie itself
    QString like;         ///< a movie of the same kind, for a header that is lost; may be empty
    std::vector<std::pair<QString, QString>> attributes; ///< values that fill in what the movie does not tell
};

/// Where the header of a recovered movie comes from.
enum class HeaderOrigin : int {
    Nowhere,
    Movie,             ///< its own, at its end
    RecordingLog,      ///< the log beside it
    EditJournal,       ///< the journal beside it
    ExtendedAttribute, ///< the extended attribute of the file
    DamagedMovie,      ///< what is left of one inside the movie
    OtherMovie,        ///< `RecoverOptions::like`
    Arguments,         ///< `RecoverOptions::attributes`
};

/// What a recovery brought back, and what it could not.
struct RecoverResult {
    bool wasSound = false; ///< there was nothing to recover: the result is a copy
    std::uint64_t frames = 0;
    std::uint64_t lostFrames = 0;     ///< that an index lists and the file does not hold
    std::uint64_t unlistedFrames = 0; ///< that no index lists
    std::uint64_t mendedChunks = 0;   ///< chunks with a damaged header
    std::int64_t tornBytes = 0;       ///< dropped: of a chunk whose writing was cut off
    std::int64_t skippedBytes = 0;    ///< dropped: that belong to no chunk
    HeaderOrigin header = HeaderOrigin::Nowhere;
    QStringList guessed; ///< names of header values that are guesses, also in the result's `guessAttribute`
    std::uint64_t times = 0;
    std::uint64_t laserPowers = 0;
    std::uint64_t fibers = 0;
    QStringList losses;        ///< what could not be brought back, in words
    Verification verification; ///< of the result

    bool isComplete() const { return losses.isEmpty() && guessed.isEmpty(); }
};

/// Attribute of a recovered movie that names the header values which were guessed.
inline constexpr QLatin1StringView guessAttribute{"plug_recovery_guess"};

} // namespace zd::movietools
