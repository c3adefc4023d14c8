#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace zd::movietools {

/// Which frames of a movie a job takes: "0:100:2,250" are every second frame from 0 to 98, then frame 250.
///
/// Frames are counted from 0; the end of a range is excluded; negative numbers count from the movie's end;
/// either end of a range may be left out.
class FrameSelection {
public:
    /// Every frame.
    FrameSelection() = default;

    /// Nothing when the text is no selection.
    static std::optional<FrameSelection> parse(const QString& text);

    /// The frames chosen of a movie of `frames` frames, in the order named; ranges are cut at the movie's ends. Empty
    /// when a single frame is not there or no frame is left, with the reason in `problem`.
    std::vector<unsigned> resolve(unsigned frames, QString& problem) const;

private:
    struct Range {
        std::int64_t begin = 0;
        std::optional<std::int64_t> end; // none: to the movie's end
        std::int64_t step = 1;
        bool single = false;
    };

    static std::optional<Range> parseRange(const QString& text);

    std::vector<Range> m_ranges;
};

} // namespace zd::movietools
