#pragma once

#include <movietools/job/progress.h>
#include <movietools/movie/moviecontent_p.h>
#include <movietools/verify/findings.h>

/// The checks of a verification, by subject. Each adds what it finds.
namespace zd::movietools {

/// Length of the file, framing, order of the chunks.
void checkStructure(const MovieContent& movie, Findings& findings);
/// The index against the chunks.
void checkIndex(const MovieContent& movie, Findings& findings);
/// The lines of the header text, whatever they say.
void checkHeaderText(const MovieContent& movie, Findings& findings);
/// Values of the header: byte order, frame size and pixel type against the frames, bounding box, palette.
void checkHeaderValues(const MovieContent& movie, Findings& findings);
/// Frame times, laser powers and fibre centres.
void checkSideData(const MovieContent& movie, Findings& findings);
/// Frames and side data against the movie's checksums. Returns the number of frames compared.
std::uint64_t checkChecksums(const MovieContent& movie, Findings& findings, const ProgressCallback& progress);
/// What lies beside the movie.
void checkLeftovers(const QString& path, Findings& findings);

} // namespace zd::movietools
