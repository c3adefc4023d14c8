#pragma once

#include <libdataio/frametimer.h>

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <vector>

/// The payloads of the chunks between a movie's frames and its header.
namespace zd::sidedata {

/// Sorts the times, as they are stored.
QByteArray encodeTimes(FrameTimer& times);

QByteArray encodeLaserPowers(const std::vector<float>& powers);
std::vector<float> decodeLaserPowers(const void* payload, std::size_t size);

/// The words of the fibre centres, two for each: a word that is left over is none. `swapped` says whether they lie in the
/// other byte order.
std::vector<std::uint32_t> fiberWords(const void* payload, std::size_t size, bool swapped);

/// Bytes of the three payloads together.
std::int64_t size(std::int64_t times, std::int64_t laserPowers, std::int64_t fiberCoordinates);

} // namespace zd::sidedata
