#pragma once

#include <libdataio/frametimer.h>
#include <libdataio/pixeltypes.h>

#include <QString>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace zd::movietools {

/// What a movie's palette is called and covers.
struct PaletteSummary {
    QString name;
    int cropMin = 0; ///< data values at the two ends
    int cropMax = 0;
    int nodes = 0;
};

/// What a person wants to know of a movie at a glance. Values that the movie does not tell are empty.
struct MovieSummary {
    QString path;
    std::uint64_t bytes = 0; ///< length of the file
    unsigned frames = 0;
    std::optional<int> width;
    std::optional<int> height;
    ZDImagePixelType type = ZD_UNKNOWN;
    std::optional<int> bits; ///< of a pixel
    std::optional<timeval> firstTime;
    std::optional<timeval> lastTime;
    bool lacksSideData = false; ///< whether the movie has times or laser powers that cannot be read
    unsigned times = 0;         ///< number of frame times, which may differ from the number of frames
    std::optional<int> frameDelay;
    unsigned knownLaserPowers = 0; ///< number of frames with one
    float lowestLaserPower = 0;    ///< of those
    float highestLaserPower = 0;
    std::uint64_t fibers = 0;
    std::vector<float> boundingBox; ///< minimum x and y, maximum x and y, or nothing
    std::optional<PaletteSummary> palette;
    QString dataType;
    QString comment;
    QString specificComment;
    std::vector<std::pair<QString, QString>> attributes; ///< all but palette entries and frame times, as stored

    /// Seconds from the first time to the last; frames per second between them. Nothing without two such times.
    std::optional<double> duration() const;
    std::optional<double> frameRate() const;
};

/// Reads header and side data of a movie, no frame. Throws JobError.
MovieSummary summarize(const QString& path);

} // namespace zd::movietools
