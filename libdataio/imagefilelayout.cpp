#include <libdataio/imagefilelayout.h>

#include <cmath>

namespace zd::layout {

namespace {

constexpr std::uint8_t unknownPower = 255;
constexpr int fullPower = 254;
/// The word of a fibre centre at the far edge of its axis.
constexpr double fullExtent = 4294967295.0;

} // namespace

std::uint8_t encodeLaserPower(float power)
{
    if (power < 0 || std::isnan(power))
        return unknownPower;
    // Floats from 2^32 on are multiples of 256, and so count the infinities.
    const float scaled = power * static_cast<float>(fullPower);
    if (scaled >= 0x1p32F)
        return 0;
    return static_cast<std::uint8_t>(static_cast<std::uint64_t>(std::nearbyint(scaled)) % 256);
}

float decodeLaserPower(std::uint8_t byte)
{
    return byte == unknownPower ? -1.0F : static_cast<float>(static_cast<double>(byte) / fullPower);
}

std::uint32_t encodeFiberWord(float coordinate, int extent)
{
    const double last = static_cast<double>(extent) - 1;
    double position = coordinate > 0 ? static_cast<double>(coordinate) : 0.0;
    if (position > last)
        position = last;
    // An extent of 0 or below gives any number here, or none: only what an int64 holds is converted.
    const double word = position * fullExtent / extent;
    if (!(word > -0x1p63 && word < 0x1p63))
        return 0;
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(word));
}

float decodeFiberWord(std::uint32_t word, int extent)
{
    const double last = static_cast<double>(extent) - 1;
    const double position = word * (extent / fullExtent);
    return static_cast<float>(position > last ? last : position);
}

QString decodeComment(const QString& stored)
{
    QString comment = stored;
    comment.replace(u'\a', u'\n');
    return comment;
}

} // namespace zd::layout
