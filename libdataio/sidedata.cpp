#include <libdataio/sidedata_p.h>

#include <libdataio/imagefilelayout.h>

#include <QtEndian>

#include <algorithm>

namespace zd::sidedata {

QByteArray encodeTimes(FrameTimer& times)
{
    QByteArray payload(static_cast<qsizetype>(times.size()) * layout::frameTimeBytes, Qt::Uninitialized);
    times.dumpToRawBuffer(payload.data(), static_cast<unsigned int>(payload.size()));
    return payload;
}

QByteArray encodeLaserPowers(const std::vector<float>& powers)
{
    QByteArray payload(static_cast<qsizetype>(powers.size()), Qt::Uninitialized);
    std::transform(powers.begin(), powers.end(), payload.data(),
                   [](float power) { return static_cast<char>(layout::encodeLaserPower(power)); });
    return payload;
}

std::vector<float> decodeLaserPowers(const void* payload, std::size_t size)
{
    const auto* bytes = static_cast<const std::uint8_t*>(payload);
    std::vector<float> powers(size);
    std::transform(bytes, bytes + size, powers.begin(), layout::decodeLaserPower);
    return powers;
}

std::vector<std::uint32_t> fiberWords(const void* payload, std::size_t size, bool swapped)
{
    const auto* bytes = static_cast<const char*>(payload);
    std::vector<std::uint32_t> words(size / sizeof(std::uint32_t) / 2 * 2);
    for (std::size_t i = 0; i < words.size(); ++i) {
        const char* word = bytes + i * sizeof(std::uint32_t);
        words[i] = swapped ? qFromBigEndian<quint32>(word) : qFromLittleEndian<quint32>(word);
    }
    return words;
}

std::int64_t size(std::int64_t times, std::int64_t laserPowers, std::int64_t fiberCoordinates)
{
    return times * layout::frameTimeBytes + laserPowers * layout::laserPowerBytes +
           fiberCoordinates * layout::fiberWordBytes;
}

} // namespace zd::sidedata
