#pragma once

#include <libdataio/frametimer.h>
#include <libdataio/pixeltypes.h>
#include <movietools/movie/movieedit.h>

#include <QStringList>

#include <cstdint>
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
    std::vector<std::pair<QString, QString>> attributes;    ///< further attributes, as movies keep them
    QString comment;                                        ///< may have several lines
    WithoutJournal withoutJournal = WithoutJournal::Refuse; ///< whether to append all the same
    bool checksums = false;                                 ///< whether the movie gets checksums, as by `addChecksums`
};

} // namespace zd::movietools
