#include <libdataio/detail/fibergeometry_p.h>

#include <libdataio/detail/rounding_p.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace zd::detail {

namespace {

/// A coordinate moved into [0, limit].
float clamped(double coordinate, double limit)
{
    const double positive = coordinate > 0 ? coordinate : 0;
    return static_cast<float>(positive > limit ? limit : positive);
}

/// The last column or row of a side; 0 for a side without pixels, where every coordinate clamps to 0.
double lastPixel(int side)
{
    return std::max(static_cast<double>(side) - 1, 0.0);
}

/// Whether a side is a float itself. The product of two floats is exact in double precision, so that rounding it is
/// what multiplying in single precision does, twice as many at a time.
bool isExact(int side)
{
    return std::abs(std::int64_t{side}) <= std::int64_t{1} << std::numeric_limits<float>::digits;
}

/// Products in the precision of the sides, rounded to single precision.
template <typename Side>
void scale(const float* fractions, std::size_t fibers, Side width, Side height, float* out)
{
    for (std::size_t i = 0; i < 2 * fibers; i += 2) {
        out[i] = static_cast<float>(fractions[i] * width);
        out[i + 1] = static_cast<float>(fractions[i + 1] * height);
    }
}

/// The low 32 bits of an integer of 64; 0 beyond them.
unsigned int lowBits(float integer)
{
    const bool representable = std::fabs(integer) < 0x1p63F;
    return static_cast<unsigned int>(representable ? static_cast<std::int64_t>(integer) : 0);
}

/// Whether all values fit 32-bit integers, which convert many at a time.
bool fitInt32(const float* values, std::size_t count)
{
    int outside = 0;
    for (std::size_t i = 0; i < count; ++i)
        outside |= std::fabs(values[i]) < 0x1p31F ? 0 : 1;
    return outside == 0;
}

} // namespace

void fiberPositions(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out)
{
    out.resize(2 * fibers);
    if (isExact(frame.width) && isExact(frame.height))
        scale(fractions, fibers, static_cast<float>(frame.width), static_cast<float>(frame.height), out.data());
    else
        scale(fractions, fibers, static_cast<double>(frame.width), static_cast<double>(frame.height), out.data());
}

void clampedFiberPositions(const float* fractions, std::size_t fibers, FiberFrame frame, std::vector<float>& out)
{
    out.resize(2 * fibers);
    const double width = frame.width;
    const double height = frame.height;
    const double lastColumn = lastPixel(frame.width);
    const double lastRow = lastPixel(frame.height);
    for (std::size_t i = 0; i < 2 * fibers; i += 2) {
        out[i] = clamped(fractions[i] * width, lastColumn);
        out[i + 1] = clamped(fractions[i + 1] * height, lastRow);
    }
}

void toRasterIndexes(const std::vector<float>& positions, std::vector<unsigned int>& out)
{
    constexpr std::size_t block = 256;
    out.resize(positions.size());
    for (std::size_t first = 0; first < positions.size(); first += block) {
        const std::size_t end = std::min(first + block, positions.size());
        if (fitInt32(positions.data() + first, end - first)) {
            for (std::size_t i = first; i < end; ++i)
                out[i] = static_cast<unsigned int>(static_cast<std::int32_t>(roundHalfEven(positions[i])));
        } else {
            for (std::size_t i = first; i < end; ++i)
                out[i] = lowBits(roundHalfEven(positions[i]));
        }
    }
}

void toOffsets(std::vector<unsigned int>& indexes, int width)
{
    const std::size_t fibers = indexes.size() / 2;
    for (std::size_t i = 0; i < fibers; ++i)
        indexes[i] = indexes[2 * i + 1] * static_cast<unsigned int>(width) + indexes[2 * i];
    indexes.resize(fibers);
}

void toWorldCenters(std::vector<float>& positions, FiberFrame frame)
{
    const double top = frame.height - 0.5;
    const double longest = std::max(frame.width, frame.height);
    for (std::size_t i = 0; i + 1 < positions.size(); i += 2) {
        positions[i] = static_cast<float>((positions[i] + 0.5) / longest);
        positions[i + 1] = static_cast<float>((top - positions[i + 1]) / longest);
    }
}

} // namespace zd::detail
