#include <python/core/framedescription.h>

#include <libdataio/imagereader.h>
#include <movietools/frames/framelayout.h>

namespace zd::python {

FrameFormat frameFormat(ImageReader& movie, const QString& path)
{
    const movietools::PageFormat format = movietools::frameFormat(movie, path, {});
    return {static_cast<int>(format.width), static_cast<int>(format.height), format.type,
            layout::needsSwapping(movie.endian())};
}

std::vector<std::int64_t> heldTimes(ImageReader& movie)
{
    std::vector<std::int64_t> times;
    times.reserve(movie.getFrameTimer().size());
    for (const timeval& time : movie.getFrameTimer())
        times.push_back(std::int64_t{time.tv_sec} * 1'000'000 + time.tv_usec);
    return times;
}

std::vector<std::int64_t> frameTimes(ImageReader& movie)
{
    std::vector<std::int64_t> times = heldTimes(movie);
    times.resize(static_cast<std::size_t>(movie.nbFrames()), noTime);
    return times;
}

std::vector<float> laserPowers(ImageReader& movie)
{
    std::vector<float> powers(static_cast<std::size_t>(movie.nbFrames()), std::numeric_limits<float>::quiet_NaN());
    for (std::size_t i = 0; i < powers.size(); ++i)
        movie.getLaserPower(static_cast<unsigned>(i), powers[i]);
    return powers;
}

} // namespace zd::python
