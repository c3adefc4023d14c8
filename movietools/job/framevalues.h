#pragma once

#include <libdataio/frametimer.h>

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

/// Text files with one value per frame. A value stands alone in its line; empty lines and lines that begin with "#"
/// are skipped. Files that break these rules are reported as JobError with the number of the line.
namespace zd::movietools {

/// Times in seconds with a fraction, since 1970-01-01 00:00:00 UTC or, with `start`, since then. They must fit a
/// movie (until 2038-01-19) and never run back, because a movie keeps its times in order.
std::vector<timeval> readFrameTimes(const QString& path, const std::optional<timeval>& start);

/// Laser powers, fractions of full power from 0 to 1; a negative value is a power that is not known.
std::vector<float> readLaserPowers(const QString& path);

/// Microseconds since 1970. Stored microseconds beyond a second carry over.
std::int64_t microseconds(const timeval& time);

/// The time `seconds` after `start`, to the nearest microsecond; nothing when a movie cannot hold it.
std::optional<timeval> timeAfter(const timeval& start, double seconds);

/// Whether `power` is a laser power that movies hold: at most 1, not "not a number".
bool isLaserPower(double power);

} // namespace zd::movietools
