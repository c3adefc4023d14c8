#pragma once

#include <movietools/frames/frameselection.h>
#include <movietools/job/progress.h>
#include <movietools/splice/mademovie.h>

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <vector>

/// Movies made of the frames of other movies. Chunks of frames are copied byte by byte, and attributes, palette, fibre
/// centres, times, laser powers and checksums stay with them. Memory does not grow with the size of the frames. The new
/// movies appear under their names when they are complete. All throw JobError, and JobCancelled when `progress` asks to
/// stop.
namespace zd::movietools {

/// Makes a movie of some frames of another. Frames that have times must be chosen in ascending order, because movies
/// keep their times in order.
MadeMovie cutMovie(const QString& movie, const FrameSelection& frames, const MovieTarget& target,
                   const ProgressCallback& progress = {});

struct JoinResult {
    MadeMovie made;
    QStringList losses; ///< what the movies behind the first one have and the result lacks, in words
};

/// Puts movies one behind the other. They must have frames of one size, type and byte order, and all or none of them
/// times that follow each other. The header and the fibre centres are those of the first.
JoinResult joinMovies(const QStringList& movies, const MovieTarget& target, const ProgressCallback& progress = {});

/// How long the parts of a movie are.
struct PartLength {
    std::optional<unsigned> frames;     ///< at most so many frames each
    std::optional<std::uint64_t> bytes; ///< files of at most so many bytes
    std::optional<std::int64_t> time;   ///< frames of so many microseconds, by their times; above 0
};

/// Cuts a movie into parts of a length, named after `target` with a number before the suffix: cells-1.vqf, ... All of
/// them appear, or none.
std::vector<MadeMovie> splitMovie(const QString& movie, const PartLength& length, const MovieTarget& target,
                                  const ProgressCallback& progress = {});

} // namespace zd::movietools
