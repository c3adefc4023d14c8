#pragma once

#include <libdataio/frametimer.h>

#include <QString>

#include <cstdint>
#include <optional>

/// Acquisition times, and lengths of time, as text.
namespace zd::movietools {

/// "2024-03-01T10:00:00.123456Z".
QString utcText(const timeval& time);
/// "1709287200.123456": seconds with all six digits.
QString secondsText(std::int64_t microseconds);
/// The time of that many microseconds since 1970; nothing when a movie cannot hold it.
std::optional<timeval> timeOfMicroseconds(std::int64_t microseconds);
/// A time from seconds since 1970 ("1709287200.5") or a date and time of ISO 8601 ("2024-03-01T10:00:00Z"), which is
/// local time unless it ends in "Z" or an offset, to the nearest microsecond. Nothing for other text and times that movies cannot hold.
std::optional<timeval> parseTime(const QString& text);

/// Microseconds of a length of time: "1.5s", "250ms", "-2" (seconds); units are us, ms, s, min and h. Nothing for text of
/// another form and for more than a thousand years.
std::optional<std::int64_t> parseDuration(const QString& text);

} // namespace zd::movietools
