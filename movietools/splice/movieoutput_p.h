#pragma once

#include <movietools/files/outputfile.h>
#include <movietools/splice/mademovie.h>
#include <movietools/splice/moviecopy_p.h>

#include <memory>

/// Begin and end of making a movie.
namespace zd::movietools {

/// Opens the file of a movie to be made. Throws JobError.
std::unique_ptr<OutputFile> openMovieOutput(const MovieTarget& target, const QStringList& inputs);
/// Gives a movie that was written its name.
MadeMovie finishMovie(OutputFile& output, const MovieCopy& copy);

} // namespace zd::movietools
