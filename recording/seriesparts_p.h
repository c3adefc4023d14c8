#pragma once

#include <recording/seriespart_p.h>

#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace zd {

/// The parts of a series that were found, in order, and what is wrong with them.
class SeriesParts {
public:
    using List = std::vector<std::shared_ptr<SeriesPart>>;

    /// Finds what `name` stands for. Closed parts that are `known` already are not loaded again.
    SeriesParts(const QString& name, const List& known);

    const List& list() const { return m_list; }
    const QStringList& problems() const { return m_problems; }
    const std::vector<SeriesGap>& gaps() const { return m_gaps; }
    QString seriesId() const { return m_seriesId; }

private:
    void _load(const QString& name, const List& known);
    void _chooseSeries(const QString& name);
    void _dropForeign();
    void _dropDoubled();
    void _nameMissing();
    void _number();

    List m_list;
    QStringList m_problems;
    std::vector<SeriesGap> m_gaps;
    QString m_seriesId;
};

} // namespace zd
