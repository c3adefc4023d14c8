#include <python/core/framedescription.h>

#include <libdataio/imagereader.h>
#include <movietools/frames/framelayout.h>
#include <movietools/job/joberror.h>

namespace zd::python {

FrameFormat frameFormat(ImageReader& movie, const QString& path)
{
    FrameFormat format;
    if (!movie.width(format.width) || !movie.height(format.height) || format.width <= 0 || format.height <= 0)
        movietools::refuse(path, QStringLiteral("does not say how large its frames are"), {});
    const std::int64_t pixels = std::int64_t{format.width} * format.height;
    if (pixels > static_cast<std::int64_t>(layout::largestSizeLimit))
        movietools::refuse(
            path,
            QStringLiteral("claims frames of %1 x %2, larger than any movie").arg(format.width).arg(format.height), {});
    format.type = movietools::sampleType(movie);
    if (GetPixBits(format.type) == 0)
        movietools::refuse(path, QStringLiteral("does not say what its pixels are"), {});
    format.swapped = layout::needsSwapping(movie.endian());
    return format;
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
