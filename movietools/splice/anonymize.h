#pragma once

#include <movietools/job/progress.h>
#include <movietools/splice/mademovie.h>

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

/// Movies without what could tell whom they show.
namespace zd::movietools {

/// Something that an anonymous movie does not have.
struct IdentifyingItem {
    QString name;  ///< of the attribute; "chunk of type 9" for chunks that the library does not use
    QString value; ///< as stored; empty for chunks
};

struct AnonymizeChoice {
    QStringList keep;   ///< attributes that stay although they could identify
    QStringList remove; ///< attributes that go although they could not
    /// Whether the first frame's time becomes 1970-01-01 00:00:00 UTC; intervals stay.
    bool relativeTimes = false;
};

/// What anonymizing would remove: every attribute but those with a technical meaning and a value of their kind, and all
/// chunks that the library does not use. Throws JobError, also for a choice that the movie does not have.
std::vector<IdentifyingItem> identifyingItems(const QString& movie, const AnonymizeChoice& choice);

struct Anonymized {
    std::vector<IdentifyingItem> removed;
    MadeMovie made;
    std::uint64_t searchedBytes = 0;
};

/// Makes a copy of a movie without these. Before it gets its name it is searched, byte by byte, for the lines of the
/// removed attributes, for their values and lines of comments of at least `shortestSearched` bytes and, with relative
/// times, for the first and the last of the old times: when one is found, also in pixels by chance, there is no copy.
/// Throws JobError and JobCancelled.
Anonymized anonymizeMovie(const QString& movie, const AnonymizeChoice& choice, const MovieTarget& target,
                          const ProgressCallback& progress = {});

/// Shorter texts turn up in any pixels.
inline constexpr int shortestSearched = 6;

} // namespace zd::movietools
