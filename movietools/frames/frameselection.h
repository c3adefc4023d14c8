#pragma once

#include <libdataio/frametimer.h>

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace zd::movietools {

/// Which frames of a movie a job takes: by number, "0:100:2,250" are every second frame from 0 to 98, then frame 250;
/// or by time since the first frame, "1.5s:4s".
///
/// Frames are counted from 0; the end of a range is excluded; negative numbers count from the movie's end;
/// either end of a range may be left out. The same holds for times, which have no steps.
class FrameSelection {
public:
    /// Every frame.
    FrameSelection() = default;

    /// Nothing when the text is no selection.
    static std::optional<FrameSelection> parse(const QString& text);
    /// The same of ranges of time: "1.5s:4s,10s:". Units are us, ms, s (also without a unit), min and h.
    static std::optional<FrameSelection> parseTimes(const QString& text);

    /// The frames chosen of a movie of `frames` frames, in the order named; ranges are cut at the movie's ends. `times`
    /// are those of the first frames. Empty when a single frame is not there or no frame is left, with the reason in
    /// `problem`.
    std::vector<unsigned> resolve(unsigned frames, const std::vector<timeval>& times, QString& problem) const;

    bool isEverything() const { return m_ranges.empty() && m_timeRanges.empty(); }

private:
    struct Range {
        std::int64_t begin = 0;
        std::optional<std::int64_t> end; // none: to the movie's end
        std::int64_t step = 1;
        bool single = false;
    };
    struct TimeRange { // microseconds
        std::int64_t begin = 0;
        std::optional<std::int64_t> end;
    };

    static std::optional<Range> parseRange(const QString& text);
    static std::optional<TimeRange> parseTimeRange(const QString& text);
    std::vector<unsigned> byNumber(unsigned frames, QString& problem) const;
    std::vector<unsigned> byTime(unsigned frames, const std::vector<timeval>& times, QString& problem) const;

    std::vector<Range> m_ranges;
    std::vector<TimeRange> m_timeRanges;
};

} // namespace zd::movietools
