#include <movietools/frameselection.h>

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

} // namespace

std::optional<FrameSelection> FrameSelection::parse(const QString& text)
{
    FrameSelection selection;
    for (const QString& part : text.split(QLatin1Char(','))) {
        const std::optional<Range> range = parseRange(part.trimmed());
        if (!range)
            return std::nullopt;
        selection.m_ranges.push_back(*range);
    }
    return selection;
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

std::vector<unsigned> FrameSelection::resolve(unsigned frames, QString& problem) const
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
