#include <movietools/frames/frameselection.h>

#include <movietools/job/framevalues.h>
#include <movietools/job/timetext.h>

#include <QStringList>

#include <algorithm>

namespace zd::movietools {

namespace {

// A whole number in a range that leaves room for sums; nothing for anything else.
std::optional<std::int64_t> wholeNumber(const QString& text)
{
    bool isNumber = false;
    const int value = text.toInt(&isNumber);
    return isNumber ? std::optional<std::int64_t>(value) : std::nullopt;
}

// Reads what stands between commas; false when one part cannot be read.
template <typename Range, typename Parse>
bool parseList(const QString& text, Parse parse, std::vector<Range>& ranges)
{
    for (const QString& part : text.split(QLatin1Char(','))) {
        const std::optional<Range> range = parse(part.trimmed());
        if (!range)
            return false;
        ranges.push_back(*range);
    }
    return true;
}

} // namespace

std::optional<FrameSelection> FrameSelection::parse(const QString& text)
{
    FrameSelection selection;
    return parseList(text, parseRange, selection.m_ranges) ? std::optional(selection) : std::nullopt;
}

std::optional<FrameSelection::Range> FrameSelection::parseRange(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    Range range;
    range.single = parts.size() == 1;
    if (parts.size() > 3)
        return std::nullopt;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        if (parts[i].isEmpty() && !range.single)
            continue;
        const std::optional<std::int64_t> number = wholeNumber(parts[i]);
        if (!number)
            return std::nullopt;
        if (i == 0)
            range.begin = *number;
        else if (i == 1)
            range.end = *number;
        else
            range.step = *number;
    }
    if (range.step < 1)
        return std::nullopt;
    return range;
}

std::optional<FrameSelection> FrameSelection::parseTimes(const QString& text)
{
    FrameSelection selection;
    return parseList(text, parseTimeRange, selection.m_timeRanges) ? std::optional(selection) : std::nullopt;
}

std::optional<FrameSelection::TimeRange> FrameSelection::parseTimeRange(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(':'));
    if (parts.size() != 2)
        return std::nullopt;
    TimeRange range;
    if (!parts[0].isEmpty()) {
        const std::optional<std::int64_t> begin = parseDuration(parts[0]);
        if (!begin)
            return std::nullopt;
        range.begin = *begin;
    }
    if (!parts[1].isEmpty()) {
        range.end = parseDuration(parts[1]);
        if (!range.end)
            return std::nullopt;
    }
    return range;
}

std::vector<unsigned> FrameSelection::resolve(unsigned frames, const std::vector<timeval>& times,
                                              QString& problem) const
{
    return m_timeRanges.empty() ? byNumber(frames, problem) : byTime(frames, times, problem);
}

std::vector<unsigned> FrameSelection::byTime(unsigned frames, const std::vector<timeval>& times, QString& problem) const
{
    const std::size_t timed = std::min<std::size_t>(frames, times.size());
    if (timed == 0) {
        problem = QStringLiteral("has no frame times: its frames can only be chosen by number");
        return {};
    }
    const auto elapsed = [&times](std::size_t frame) { return microseconds(times[frame]) - microseconds(times[0]); };
    const std::int64_t length = elapsed(timed - 1);
    const auto fromStart = [length](std::int64_t time) { return time < 0 ? time + length : time; };
    std::vector<unsigned> chosen;
    for (const TimeRange& range : m_timeRanges) {
        const std::int64_t begin = fromStart(range.begin);
        for (std::size_t frame = 0; frame < timed; ++frame)
            if (elapsed(frame) >= begin && (!range.end || elapsed(frame) < fromStart(*range.end)))
                chosen.push_back(static_cast<unsigned>(frame));
    }
    if (chosen.empty())
        problem = QStringLiteral("has no frame in the time asked for: it lasts %1 s")
                      .arg(static_cast<double>(length) / 1e6, 0, 'f', 6);
    return chosen;
}

std::vector<unsigned> FrameSelection::byNumber(unsigned frames, QString& problem) const
{
    const std::int64_t count = frames;
    const auto fromStart = [count](std::int64_t frame) { return frame < 0 ? frame + count : frame; };
    std::vector<unsigned> chosen;
    for (const Range& range : m_ranges.empty() ? std::vector<Range>{Range{}} : m_ranges) {
        std::int64_t begin = fromStart(range.begin);
        std::int64_t end = range.single ? begin + 1 : fromStart(range.end.value_or(count));
        if (range.single && (begin < 0 || begin >= count)) {
            problem = QStringLiteral("has no frame %1: it has %2 frames, counted from 0").arg(range.begin).arg(count);
            return {};
        }
        begin = std::clamp<std::int64_t>(begin, 0, count);
        end = std::clamp<std::int64_t>(end, 0, count);
        for (std::int64_t frame = begin; frame < end; frame += range.step)
            chosen.push_back(static_cast<unsigned>(frame));
    }
    if (chosen.empty())
        problem = count == 0 ? QStringLiteral("has no frames")
                             : QStringLiteral("has none of the frames asked for: it has %1").arg(count);
    return chosen;
}

} // namespace zd::movietools
