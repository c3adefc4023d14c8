#pragma once

#include <libdataio/frametimer.h>
#include <libdataio/pixeltypes.h>
#include <movietools/progress.h>

#include <QStringList>

#include <optional>
#include <utility>
#include <vector>

namespace zd::movietools {

/// What to make a movie from.
struct TiffImportOptions {
    QStringList stacks;              ///< TIFF files, taken one after the other, page by page
    QString movie;                   ///< the file to make
    bool replace = false;            ///< whether a file of that name may be replaced
    std::optional<double> frameRate; ///< frames per second, above 0; sets "framedelay" in milliseconds
    std::optional<timeval> start;    ///< time of the first frame; the others follow at the frame rate
    std::vector<timeval> times;      ///< instead: one time per frame, in order; empty: none
    std::optional<float> laserPower; ///< of all frames; without it, not known
    std::vector<float> laserPowers;  ///< instead: one per frame
    std::vector<std::pair<QString, QString>> attributes; ///< further attributes, as movies keep them
    QString comment;                                     ///< may have several lines
    bool checksums = false;                              ///< whether the movie gets checksums, as by `addChecksums`
};

/// What was made.
struct TiffImportResult {
    unsigned frames = 0;
    int width = 0;
    int height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    std::uint64_t bytes = 0; ///< length of the movie
};

/// Records the pages of TIFF stacks as the frames of a new movie, sample values unchanged.
///
/// Reads every stack twice, first for its pages' sizes and types, which must agree, then for their pixels; holds
/// one frame in memory. Stacks in which the smallest value shows as white give the movie a palette that does
/// the same. The movie appears under its name when it is complete; its permissions are those of a recording.
/// Throws JobError, and JobCancelled when `progress` asks to stop.
TiffImportResult importTiff(const TiffImportOptions& options, const ProgressCallback& progress);

/// Records the pages as further frames of the movie `options.movie`, which must exist and have frames of that
/// size and type; `replace`, `attributes`, `comment` and `checksums` are not used. A movie whose frames have times needs times
/// for the new ones, which do not run back behind the old; one without takes none. Any failure, and a stop that
/// `progress` asks for, leaves the movie as it was.
TiffImportResult appendTiff(const TiffImportOptions& options, const ProgressCallback& progress);

/// Writes the first page of `stack` over frame `index` of a movie, of which it must have the size and type. Without
/// `time` and `laserPower` the frame keeps those it has. A failure leaves the movie as it was. Throws JobError.
void replaceFrame(const QString& movie, unsigned index, const QString& stack, const std::optional<timeval>& time,
                  const std::optional<float>& laserPower);

} // namespace zd::movietools
