#include <movietools/movie/moviesummary.h>

#include <common/iofileexception.h>
#include <common/zdpalette.h>
#include <libdataio/imagereader.h>
#include <movietools/files/bytesource.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/movieindex.h>

#include <algorithm>

namespace zd::movietools {

namespace {

template <typename Read>
std::optional<int> number(Read read)
{
    int value = 0;
    return read(value) ? std::optional<int>(value) : std::nullopt;
}

void summarizeLaserPowers(ImageReader& movie, MovieSummary& summary)
{
    for (unsigned frame = 0; frame < summary.frames; ++frame) {
        float power = 0;
        if (!movie.getLaserPower(frame, power))
            continue;
        const bool isFirst = summary.knownLaserPowers++ == 0;
        summary.lowestLaserPower = isFirst ? power : std::min(summary.lowestLaserPower, power);
        summary.highestLaserPower = isFirst ? power : std::max(summary.highestLaserPower, power);
    }
}

void summarizeTimes(const FrameTimer& times, MovieSummary& summary)
{
    summary.times = static_cast<unsigned>(times.size());
    if (times.empty())
        return;
    summary.firstTime = times.front();
    summary.lastTime = times.back();
}

void summarizePalette(ImageReader& movie, MovieSummary& summary)
{
    ZdPalette palette;
    if (movie.palette(palette))
        summary.palette = PaletteSummary{palette.name, palette.cropMin, palette.cropMax, palette.size()};
}

void listAttributes(const AttributeChunk& header, MovieSummary& summary)
{
    for (const auto& [name, attribute] : header.attributes()) {
        if (!name.startsWith(layout::key::palettePrefix) && !name.startsWith(layout::key::frameTimer))
            summary.attributes.emplace_back(name, attribute.text());
    }
}

void summarizeMovie(ImageReader& movie, MovieSummary& summary)
{
    summary.frames = static_cast<unsigned>(movie.nbFrames());
    summary.width = number([&](int& value) { return movie.width(value); });
    summary.height = number([&](int& value) { return movie.height(value); });
    summary.bits = number([&](int& value) { return movie.pixBits(value); });
    summary.frameDelay = number([&](int& value) { return movie.frameDelay(value); });
    movie.pixType(summary.type);
    movie.getBundleBoundingBox(summary.boundingBox);
    summary.dataType = movie.dataType();
    summary.comment = movie.getComment();
    summary.specificComment = movie.getSpecificComment();
    summary.lacksSideData = movie.lacksSideData();
    summarizeTimes(movie.getFrameTimer(), summary);
    summarizeLaserPowers(movie, summary);
    summarizePalette(movie, summary);
    listAttributes(movie.attributeChunk(), summary);
    const std::vector<ChunkRecord>& centers = recordsOf(movie.index(), ZD_FIBER_CENTERS_CHUNK);
    if (!centers.empty())
        summary.fibers = centers.front().length / (2 * layout::fiberWordBytes);
}

} // namespace

std::optional<double> MovieSummary::duration() const
{
    if (times < 2)
        return std::nullopt;
    return static_cast<double>(microseconds(*lastTime) - microseconds(*firstTime)) / 1e6;
}

std::optional<double> MovieSummary::frameRate() const
{
    const std::optional<double> seconds = duration();
    if (!seconds || !(*seconds > 0))
        return std::nullopt;
    return (times - 1) / *seconds;
}

MovieSummary summarize(const QString& path)
{
    MovieSummary summary;
    summary.path = path;
    try {
        ImageReader movie(path);
        summarizeMovie(movie, summary);
    } catch (const IOFileException& report) {
        throw jobError(report, path);
    }
    summary.bytes = lengthOfFile(path);
    return summary;
}

} // namespace zd::movietools
