#include <recording/seriesparts_p.h>

#include <common/iofileexception.h>
#include <recording/seriesnames_p.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace zd {

namespace {

/// Files more than that many before the last one have been closed.
constexpr std::size_t mayGrow = 2;

std::vector<SeriesFile> filesLike(const QString& folder, const QString& pattern)
{
    std::vector<SeriesFile> files;
    for (const QString& name : QDir(folder).entryList({pattern}, QDir::Files, QDir::Name)) {
        const QString path = QDir(folder).filePath(name);
        const auto names = SeriesNames::ofPart(path);
        files.push_back({path, names ? names->numberOf(path) : 0});
    }
    std::stable_sort(files.begin(), files.end(), [](auto& a, auto& b) { return a.number < b.number; });
    return files;
}

std::vector<SeriesFile> filesOf(const QString& name)
{
    const QFileInfo info(name);
    if (info.isDir())
        return filesLike(name, QStringLiteral("*.vqf"));
    if (!info.exists() && (name.contains(u'*') || name.contains(u'?')))
        return filesLike(info.path(), info.fileName());
    if (!info.exists())
        return SeriesNames(name).files();
    const auto names = SeriesNames::ofPart(name);
    return names ? names->files() : std::vector<SeriesFile>{{name, 0}};
}

} // namespace

SeriesParts::SeriesParts(const QString& name, const List& known)
{
    _load(name, known);
    _chooseSeries(name);
    _dropForeign();
    std::stable_sort(m_list.begin(), m_list.end(), [](auto& a, auto& b) { return a->info.number < b->info.number; });
    _dropDoubled();
    _nameMissing();
    _number();
}

void SeriesParts::_load(const QString& name, const List& known)
{
    const std::vector<SeriesFile> files = filesOf(name);
    for (std::size_t i = 0; i < files.size(); ++i) {
        const auto same = std::find_if(known.begin(), known.end(), [&](const auto& part) {
            return part->info.closed && part->info.path == files[i].path;
        });
        try {
            m_list.push_back(same != known.end() ? *same
                                                 : std::make_shared<SeriesPart>(files[i].path, files[i].number,
                                                                                i + mayGrow >= files.size()));
        } catch (const IOFileException& failure) {
            m_problems << QStringLiteral("unreadable: %1 (%2)").arg(files[i].path, failure.message());
        }
    }
}

/// The series of the part that was named, else of the first file that has one.
void SeriesParts::_chooseSeries(const QString& name)
{
    for (const auto& part : m_list) {
        if (part->seriesId.isEmpty())
            continue;
        if (m_seriesId.isEmpty() || part->info.path == name)
            m_seriesId = part->seriesId;
    }
}

void SeriesParts::_dropForeign()
{
    const auto isForeign = [this](const auto& part) {
        // Of a part that has no frame yet, or lies where no header can be kept, the name is all there is.
        if (part->seriesId == m_seriesId || (part->seriesId.isEmpty() && !part->info.closed && part->info.number > 0))
            return false;
        m_problems << QStringLiteral("of another series: %1").arg(part->info.path);
        return true;
    };
    std::erase_if(m_list, isForeign);
    if (m_seriesId.isEmpty())
        m_list.clear();
}

void SeriesParts::_dropDoubled()
{
    for (std::size_t i = 1; i < m_list.size();) {
        if (m_list[i]->info.number != m_list[i - 1]->info.number) {
            ++i;
            continue;
        }
        m_problems << QStringLiteral("twice: part %1 is %2 and %3")
                          .arg(m_list[i]->info.number)
                          .arg(m_list[i - 1]->info.path, m_list[i]->info.path);
        m_list.erase(m_list.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void SeriesParts::_nameMissing()
{
    int next = 1;
    for (const auto& part : m_list) {
        if (part->info.number == next + 1)
            m_problems << QStringLiteral("missing: part %1").arg(next);
        else if (part->info.number > next)
            m_problems << QStringLiteral("missing: parts %1 to %2").arg(next).arg(part->info.number - 1);
        next = part->info.number + 1;
    }
}

/// Gives the frames their running indexes, and finds out how many are missing between them.
void SeriesParts::_number()
{
    std::int64_t index = 0;
    std::int64_t inSeries = 0;
    for (const auto& part : m_list) {
        if (part->firstFrame > inSeries) {
            m_gaps.push_back({index, part->firstFrame - inSeries});
            inSeries = part->firstFrame;
        }
        part->info.firstFrame = index;
        index += part->info.frames;
        inSeries += part->info.frames;
    }
}

} // namespace zd
