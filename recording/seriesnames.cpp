#include <recording/seriesnames_p.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace zd {

namespace {

const QLatin1StringView suffix{".vqf"};
constexpr int digits = 4; // at least

const QRegularExpression& partName()
{
    static const QRegularExpression expression(QStringLiteral("^(.+)-([0-9]{4,9})\\.vqf$"),
                                               QRegularExpression::DotMatchesEverythingOption);
    return expression;
}

} // namespace

SeriesNames::SeriesNames(const QString& name)
{
    const qsizetype separator = name.lastIndexOf(u'/') + 1;
    m_folder = name.left(separator);
    m_stem = name.mid(separator);
    if (m_stem.endsWith(suffix))
        m_stem.chop(suffix.size());
}

std::optional<SeriesNames> SeriesNames::ofPart(const QString& path)
{
    const QRegularExpressionMatch match = partName().match(path.mid(path.lastIndexOf(u'/') + 1));
    if (!match.hasMatch())
        return std::nullopt;
    return SeriesNames(path.left(path.lastIndexOf(u'/') + 1) + match.captured(1));
}

QString SeriesNames::partPath(int number) const
{
    return m_folder + m_stem + u'-' + QString::number(number).rightJustified(digits, u'0') + suffix;
}

int SeriesNames::numberOf(const QString& path) const
{
    const QRegularExpressionMatch match = partName().match(path.mid(path.lastIndexOf(u'/') + 1));
    return match.hasMatch() && match.captured(1) == m_stem ? match.captured(2).toInt() : 0;
}

std::vector<SeriesFile> SeriesNames::files() const
{
    std::vector<SeriesFile> files;
    const QDir folder(m_folder.isEmpty() ? QStringLiteral(".") : m_folder);
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden | QDir::System))
        if (const int number = numberOf(name); number > 0)
            files.push_back({m_folder + name, number});
    std::stable_sort(files.begin(), files.end(), [](auto& a, auto& b) { return a.number < b.number; });
    return files;
}

} // namespace zd
