#pragma once

#include <movietools/job/progress.h>
#include <movietools/splice/mademovie.h>

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

/// Movies without what could tell whom they show.
namespace zd::movietools {

/// What becomes of something in an anonymous movie.
enum class Fate : int {
    Removed,
    Shifted, ///< times: the first becomes 1970-01-01 00:00:00 UTC, intervals stay
    Kept,
};

/// Something that a movie tells besides its pixels, laser powers and fibres.
struct ToldItem {
    Fate fate = Fate::Removed;
    QString name; ///< of the attribute; "chunk of type 9" for chunks that the library does not use; "acquisition times"
    QString value; ///< as stored; the first and the last of the times; empty for chunks
};

struct AnonymizeChoice {
    QStringList keep;        ///< attributes that stay although they could identify
    QStringList remove;      ///< attributes that go although they could not
    bool shiftTimes = false; ///< whether the times go as well, but for the intervals between them
};

/// What anonymizing would do to everything that the movie tells, what goes first. Every attribute goes but those with a
/// technical meaning and a number, or one of few words, as their value: free text never stays unasked. All chunks that
/// the library does not use go. Throws JobError, also for a choice that the movie does not have.
std::vector<ToldItem> anonymousPlan(const QString& movie, const AnonymizeChoice& choice);

struct Anonymized {
    std::vector<ToldItem> items; ///< the plan, carried out
    MadeMovie made;
    std::uint64_t searchedBytes = 0;
};

/// Makes a copy of a movie by that plan. Before it gets its name it is searched, byte by byte, for the lines of the
/// removed attributes, for their values and lines of comments of at least `shortestSearched` bytes and for the first and
/// the last of shifted times: when one is found, also in pixels by chance, there is no copy. Shorter values, which turn
/// up in any pixels, are searched in every text that stays.
/// Throws JobError and JobCancelled.
Anonymized anonymizeMovie(const QString& movie, const AnonymizeChoice& choice, const MovieTarget& target,
                          const ProgressCallback& progress = {});

/// Bytes of the shortest text that is searched everywhere.
inline constexpr int shortestSearched = 6;

} // namespace zd::movietools
