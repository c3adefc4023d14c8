#include <movietools/splice/anonymize.h>

#include <movietools/files/bytesearch_p.h>
#include <movietools/job/joberror.h>
#include <movietools/job/timetext.h>
#include <movietools/job/wording.h>
#include <movietools/movie/moviecontent_p.h>
#include <movietools/movie/movieoutput_p.h>
#include <movietools/splice/moviecopy_p.h>

#include <QRegularExpression>

#include <algorithm>
#include <array>

namespace zd::movietools {

namespace {

namespace key = layout::key;

constexpr std::array technicalNumbers{
    key::endian,  key::width,          key::height,         key::pixType,          key::pixBits,
    key::palette, key::dimension,      key::indexed,        key::frameDelay,       key::boxMinX,
    key::boxMinY, key::boxMaxX,        key::boxMaxY,        key::maskLevel,        key::sinusT0,
    key::sinusT1, key::paletteCropMin, key::paletteCropMax, key::paletteNodeCount, key::paletteOldNodeCount};

bool isNumber(const QString& text)
{
    bool isNumber = false;
    text.toDouble(&isNumber);
    return isNumber;
}

bool isPaletteNode(const QString& name)
{
    static const QRegularExpression form(QStringLiteral("^pal_n[0-9]{1,9}_(val|r|g|b)$"));
    return form.match(name).hasMatch();
}

// Whether an attribute has a technical meaning, and a value that goes with it: a text in place of a number may hide
// anything. Checksums are made anew.
bool isTechnical(const QString& name, const QString& value)
{
    const bool isNumeric = isPaletteNode(name) ||
                           std::find(technicalNumbers.begin(), technicalNumbers.end(), name) != technicalNumbers.end();
    if (isNumeric)
        return isNumber(value);
    if (name == key::dataType)
        return value == layout::dataTypeRaw || value == layout::dataTypeProcessed;
    return name == checksumAttribute;
}

void requireKnown(const MovieSource& source, const QStringList& names)
{
    for (const QString& name : names)
        if (QString value; !source.header().get(name, value))
            refuse(source.path(), QStringLiteral("has no attribute ") + name,
                   QStringLiteral("see the names with vqf attr list"));
}

std::vector<ToldItem> planFor(const MovieSource& source, const AnonymizeChoice& choice)
{
    requireKnown(source, choice.keep + choice.remove);
    std::vector<ToldItem> items;
    for (const auto& [name, value] : source.header().attributes()) {
        const bool goes = choice.remove.contains(name) || !isTechnical(name, value.text());
        items.push_back({goes && !choice.keep.contains(name) ? Fate::Removed : Fate::Kept, name, value.text()});
    }
    for (const ChunkExtent& chunk : source.otherChunks())
        if (!isSideData(chunk.type))
            items.push_back({Fate::Removed, chunkText(chunk.type), {}});
    const FrameTimer& times = source.times();
    if (!times.empty())
        items.push_back({choice.shiftTimes ? Fate::Shifted : Fate::Kept, QStringLiteral("acquisition times"),
                         utcText(times.front()) + QStringLiteral(" to ") + utcText(times.back())});
    std::stable_sort(items.begin(), items.end(), [](const ToldItem& a, const ToldItem& b) { return a.fate < b.fate; });
    return items;
}

/// The removed value in words and lines of its own.
QList<QByteArray> partsOf(const ToldItem& item)
{
    const QByteArray value = item.value.toLatin1();
    return value.contains('\a') ? value.split('\a') << value : QList<QByteArray>{value};
}

/// Numbers alone tell nobody's name, and turn up everywhere.
bool isText(const ToldItem& item)
{
    return item.name != checksumAttribute && !isNumber(item.value);
}

/// Values that are too short to be searched in pixels must not be part of a text that stays.
void requireNoTextRepeats(const MovieSource& source, const std::vector<ToldItem>& items)
{
    for (const ToldItem& gone : items) {
        if (gone.fate != Fate::Removed || !isText(gone))
            continue;
        for (const ToldItem& kept : items)
            for (const QByteArray& part : partsOf(gone))
                if (kept.fate == Fate::Kept && isText(kept) && !part.trimmed().isEmpty() &&
                    kept.value.toLatin1().contains(part.trimmed()))
                    refuse(source.path(),
                           QStringLiteral("has \"%1\", which is removed with %2, in %3 as well")
                               .arg(QString::fromLatin1(part), gone.name, kept.name),
                           QStringLiteral("remove that, too, with --remove %1, or keep %2").arg(kept.name, gone.name));
    }
}

// The bytes that must not occur in the copy.
std::vector<QByteArray> bytesToSearch(const MovieSource& source, const std::vector<ToldItem>& items)
{
    std::vector<QByteArray> searched;
    for (const ToldItem& item : items) {
        if (item.fate == Fate::Kept || item.value.isEmpty())
            continue;
        if (item.fate == Fate::Shifted) {
            for (const timeval& time : {source.times().front(), source.times().back()})
                if (source.times().front() != timeval{})
                    searched.push_back(storedTime(time));
            continue;
        }
        searched.push_back(item.name.toLatin1() + '=' + item.value.toLatin1() + '\n');
        for (const QByteArray& part : partsOf(item))
            if (part.size() >= shortestSearched)
                searched.push_back(part);
    }
    return searched;
}

void requireGone(const OutputFile& output, const std::vector<QByteArray>& searched, const ProgressCallback& progress)
{
    const FileBytes bytes(output.workPath());
    const std::optional<FoundBytes> found = findBytes(bytes, searched, progress);
    if (!found)
        return;
    const QString text = QString::fromLatin1(searched[found->which]);
    refuse(output.path(), QStringLiteral("would still hold \"%1\", at byte %2").arg(text.trimmed()).arg(found->offset),
           QStringLiteral("remove the attribute that repeats it, with --remove, or keep it with --keep"));
}

} // namespace

std::vector<ToldItem> anonymousPlan(const QString& movie, const AnonymizeChoice& choice)
{
    return planFor(MovieSource(movie), choice);
}

Anonymized anonymizeMovie(const QString& movie, const AnonymizeChoice& choice, const MovieTarget& target,
                          const ProgressCallback& progress)
{
    const MovieSource source(movie);
    Anonymized result;
    result.items = planFor(source, choice);
    requireNoTextRepeats(source, result.items);
    MovieCopy copy(source);
    copy.dropUnusedChunks();
    for (const ToldItem& item : result.items)
        if (item.fate == Fate::Removed)
            copy.header().erase(item.name);
    for (unsigned frame = 0; frame < source.frames(); ++frame)
        copy.add(source, frame);
    if (choice.shiftTimes)
        copy.makeTimesRelative();

    MovieOutput output(target.path, target.replace, {movie});
    Progress done;
    done.framesTotal = copy.frames();
    copy.write(output.file(), done, progress);
    requireGone(output.file(), bytesToSearch(source, result.items), progress);
    result.searchedBytes = copy.bytes();
    output.commit();
    result.made = {output.path(), copy.frames(), copy.bytes()};
    return result;
}

} // namespace zd::movietools
