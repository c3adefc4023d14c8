#include <movietools/frames/frameintervals.h>

#include <movietools/job/framevalues.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace zd::movietools {

namespace {

constexpr double regularUpTo = 1.5; // medians

std::vector<std::int64_t> intervalsOf(const std::vector<timeval>& times)
{
    std::vector<std::int64_t> intervals;
    for (std::size_t i = 1; i < times.size(); ++i)
        intervals.push_back(microseconds(times[i]) - microseconds(times[i - 1]));
    return intervals;
}

double medianOf(std::vector<std::int64_t> values)
{
    const auto upper = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), upper, values.end());
    if (values.size() % 2 == 1)
        return static_cast<double>(*upper);
    return (static_cast<double>(*std::max_element(values.begin(), upper)) + static_cast<double>(*upper)) / 2;
}

double deviationOf(const std::vector<std::int64_t>& values, double mean)
{
    double squares = 0;
    for (const std::int64_t value : values)
        squares += (static_cast<double>(value) - mean) * (static_cast<double>(value) - mean);
    return std::sqrt(squares / static_cast<double>(values.size()));
}

std::uint64_t framesBetween(std::int64_t interval, double median)
{
    const double frames = median > 0 ? static_cast<double>(interval) / median : 0;
    return frames > regularUpTo ? static_cast<std::uint64_t>(std::llround(frames)) - 1 : 0;
}

} // namespace

std::uint64_t FrameIntervals::dropped() const
{
    std::uint64_t frames = 0;
    for (const IrregularInterval& place : irregular)
        frames += place.dropped;
    return frames;
}

std::uint64_t FrameIntervals::runningBack() const
{
    return static_cast<std::uint64_t>(std::count_if(irregular.begin(), irregular.end(),
                                                    [](const IrregularInterval& place) { return place.interval < 0; }));
}

FrameIntervals frameIntervals(const std::vector<timeval>& times)
{
    FrameIntervals result;
    const std::vector<std::int64_t> intervals = intervalsOf(times);
    if (intervals.empty())
        return result;
    result.count = intervals.size();
    const auto [shortest, longest] = std::minmax_element(intervals.begin(), intervals.end());
    result.shortest = *shortest;
    result.longest = *longest;
    result.median = medianOf(intervals);
    result.mean = static_cast<double>(std::accumulate(intervals.begin(), intervals.end(), std::int64_t{0})) /
                  static_cast<double>(intervals.size());
    result.deviation = deviationOf(intervals, result.mean);
    for (std::size_t i = 0; i < intervals.size(); ++i) {
        const std::uint64_t dropped = framesBetween(intervals[i], result.median);
        if (dropped > 0 || intervals[i] < 0)
            result.irregular.push_back({static_cast<unsigned>(i + 1), intervals[i], dropped});
    }
    return result;
}

} // namespace zd::movietools
