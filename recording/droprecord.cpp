#include <recording/droprecord_p.h>

#include <QStringList>

namespace zd {

void DropRecord::add(std::int64_t number)
{
    const std::lock_guard lock(m_mutex);
    ++m_count;
    if (!m_ranges.empty() && m_ranges.back().last + 1 == number)
        m_ranges.back().last = number;
    else if (m_ranges.size() < mostRanges)
        m_ranges.push_back({number, number});
}

std::int64_t DropRecord::count() const
{
    const std::lock_guard lock(m_mutex);
    return m_count;
}

std::vector<FrameRange> DropRecord::ranges() const
{
    const std::lock_guard lock(m_mutex);
    return m_ranges;
}

QString DropRecord::text() const
{
    QStringList list;
    for (const FrameRange& range : ranges())
        list << (range.first == range.last ? QString::number(range.first)
                                           : QString::number(range.first) + u'-' + QString::number(range.last));
    return list.join(u',');
}

} // namespace zd
