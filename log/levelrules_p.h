#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <map>

namespace zd {

/// The levels that loggers start with: some by name, one for all others.
class LevelRules {
public:
    /// Reads a list such as "dataio.imagereader=3,*=1". Entries that are not `name=number` are skipped.
    explicit LevelRules(const QByteArray& list);

    std::int32_t levelFor(const QString& name) const;

    /// Gives every logger this level, those with a level by name included.
    void setAll(std::int32_t level);

private:
    void readEntry(const QString& entry);

    static constexpr std::int32_t defaultLevel = 2;
    std::map<QString, std::int32_t> m_byName;
    std::int32_t m_others = defaultLevel;
};

} // namespace zd
