#pragma once

#include <libdataio/frametimer.h>
#include <libdataio/pixeltypes.h>
#include <movietools/exchange/importoptions.h>
#include <movietools/job/progress.h>
#include <movietools/movie/movieedit.h>

#include <optional>

namespace zd::movietools {

/// What was made.
struct ImportResult {
    unsigned frames = 0;
    int width = 0;
    int height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    std::uint64_t bytes = 0; ///< length of the movie
};

/// Records pictures as the frames of a new movie, sample values unchanged: pages of TIFF stacks, folders of PNG or TIFF
/// pictures, NumPy arrays, files of samples, videos (which need the program ffmpeg).
///
/// What a sidecar or OME metadata say of times, laser powers, attributes and fibre centres is kept, where the options do
/// not say otherwise; it must fit the number of pages. Reads every source twice, first for its pages' sizes and types,
/// which must agree, then for their pixels; holds one frame in memory. Stacks in which the smallest value shows as
/// white give the movie a palette that does the same. The movie appears under its name when it is complete; its
/// permissions are those of a recording. Throws JobError, and JobCancelled when `progress` asks to stop.
ImportResult importMovie(const ImportOptions& options, const ProgressCallback& progress);

/// Records the pages as further frames of the movie `options.movie`, which must exist and have frames of that
/// size and type; `replace`, `attributes`, `comment` and `checksums` are not used. A movie whose frames have times needs times
/// for the new ones, which do not run back behind the old; one without takes none. Any failure, and a stop that
/// `progress` asks for, leaves the movie as it was.
ImportResult appendFrames(const ImportOptions& options, const ProgressCallback& progress);

/// Writes the first page of `stack` over frame `index` of a movie, of which it must have the size and type. Without
/// `time` and `laserPower` the frame keeps those it has. A failure leaves the movie as it was. Throws JobError.
void replaceFrame(const QString& movie, unsigned index, const QString& stack, const std::optional<timeval>& time,
                  const std::optional<float>& laserPower, WithoutJournal withoutJournal = WithoutJournal::Refuse);

} // namespace zd::movietools
