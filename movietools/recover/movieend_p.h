#pragma once

#include <movietools/files/bytesource.h>

#include <QByteArray>
#include <QString>

namespace zd::movietools {

/// A new end of a movie, from an offset on.
struct MovieEnd {
    std::int64_t offset = 0;
    QByteArray bytes; ///< whole chunks, the last one the movie's info
};

/// Puts a new end in place of what a movie holds from there on. `spare` is the same end, for a place behind both: it is
/// written first and goes last, so that the movie is as it was, or opens with all its frames, wherever this is cut off. A
/// failure puts the movie back as it was. Throws JobError.
void replaceMovieEnd(const QString& path, const ByteSource& movie, const MovieEnd& end, const MovieEnd& spare);

} // namespace zd::movietools
