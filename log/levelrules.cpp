#include <log/levelrules_p.h>

#include <QStringList>

namespace zd {

LevelRules::LevelRules(const QByteArray& list)
{
    const QStringList entries = QString::fromUtf8(list).split(QLatin1Char(','));
    for (const QString& entry : entries)
        readEntry(entry);
}

std::int32_t LevelRules::levelFor(const QString& name) const
{
    const auto found = m_byName.find(name);
    return found != m_byName.end() ? found->second : m_others;
}

void LevelRules::setAll(std::int32_t level)
{
    m_byName.clear();
    m_others = level;
}

void LevelRules::readEntry(const QString& entry)
{
    const qsizetype equals = entry.indexOf(QLatin1Char('='));
    if (equals < 0)
        return;
    const QString name = entry.left(equals).trimmed();
    bool isNumber = false;
    const std::int32_t level = entry.mid(equals + 1).trimmed().toInt(&isNumber);
    if (name.isEmpty() || !isNumber)
        return;
    if (name == QLatin1StringView("*"))
        m_others = level;
    else
        m_byName.insert_or_assign(name, level);
}

} // namespace zd
