#include <libdataio/imagefilelayout.h>

#include <QtEndian>

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

QByteArray encodeFiberCenters(const std::vector<float>& centers, int width, int height)
{
    QByteArray payload(static_cast<qsizetype>(centers.size()) * fiberWordBytes, Qt::Uninitialized);
    char* word = payload.data();
    for (std::size_t i = 0; i < centers.size(); ++i, word += fiberWordBytes)
        qToLittleEndian(encodeFiberWord(centers[i], i % 2 == 0 ? width : height), word);
    return payload;
}

std::vector<float> decodeFiberCenters(const std::vector<std::uint32_t>& words, int width, int height)
{
    std::vector<float> centers(words.size());
    for (std::size_t i = 0; i < words.size(); ++i)
        centers[i] = decodeFiberWord(words[i], i % 2 == 0 ? width : height);
    return centers;
}

QString decodeComment(const QString& stored)
{
    QString comment = stored;
    comment.replace(u'\a', u'\n');
    return comment;
}

} // namespace zd::layout
