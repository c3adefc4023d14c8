#pragma once

#include <QLatin1StringView>

/// Names of the header attributes with which recordings tell of lost frames, and parts of the series they belong to.
namespace zd::recording::key {

/// How many frames found no room in the queue, and which, as "3,17-20": numbers from 0 in the order in which frames were
/// offered, stored and dropped ones together. Ranges beyond the first few thousand are not listed.
inline constexpr QLatin1StringView droppedFrames{"dropped_frames"};
inline constexpr QLatin1StringView droppedRanges{"dropped_ranges"};

/// The same text in all parts of one series.
inline constexpr QLatin1StringView seriesId{"series_id"};
/// Number of the part, from 1, as in the file's name.
inline constexpr QLatin1StringView seriesPart{"series_part"};
/// Number of the part's first frame in the series, from 0.
inline constexpr QLatin1StringView seriesFirstFrame{"series_first_frame"};
/// 1 in the last part of a series that was closed.
inline constexpr QLatin1StringView seriesLast{"series_last"};

} // namespace zd::recording::key
