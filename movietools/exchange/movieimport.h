#pragma once

#include <libdataio/frametimer.h>
#include <libdataio/pixeltypes.h>
#include <movietools/job/progress.h>

#include <QStringList>

#include <optional>
#include <utility>
#include <vector>

namespace zd::movietools {

/// What a file of samples without any structure holds: frames of one size and type, in little-endian order.
struct RawFormat {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    std::uint64_t offset = 0; ///< bytes before the first frame
};

/// What to make a movie from.
struct ImportOptions {
    QStringList stacks;                 ///< files and folders of pictures, taken one after the other, page by page
    QString movie;                      ///< the file to make
    bool replace = false;               ///< whether a file of that name may be replaced
    bool pixelsOnly = false;            ///< whether to leave what the files say beside their pixels
    std::optional<RawFormat> rawFormat; ///< what files of samples hold
    std::optional<double> frameRate;    ///< frames per second, above 0; sets "framedelay" in milliseconds
    std::optional<timeval> start;       ///< time of the first frame; the others follow at the frame rate
    std::vector<timeval> times;         ///< instead: one time per frame, in order; empty: none
    std::optional<float> laserPower;    ///< of all frames; without it, not known
    std::vector<float> laserPowers;     ///< instead: one per frame
    std::vector<std::pair<QString, QString>> attributes; ///< further attributes, as movies keep them
    QString comment;                                     ///< may have several lines
    bool checksums = false;                              ///< whether the movie gets checksums, as by `addChecksums`
};

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
                  const std::optional<float>& laserPower);

} // namespace zd::movietools
