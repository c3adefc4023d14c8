#include <movietools/splice/anonymize.h>

#include <movietools/files/bytesearch_p.h>
#include <movietools/job/joberror.h>
#include <movietools/job/wording.h>
#include <movietools/movie/moviecontent_p.h>
#include <movietools/splice/moviecopy_p.h>
#include <movietools/splice/movieoutput_p.h>

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
    return name == checksumAttribute || name == key::paletteName;
}

void requireKnown(const MovieSource& source, const QStringList& names)
{
    for (const QString& name : names)
        if (QString value; !source.header().get(name, value))
            refuse(source.path(), QStringLiteral("has no attribute ") + name,
                   QStringLiteral("see the names with vqf attr list"));
}

std::vector<IdentifyingItem> itemsOf(const MovieSource& source, const AnonymizeChoice& choice)
{
    requireKnown(source, choice.keep + choice.remove);
    std::vector<IdentifyingItem> items;
    for (const auto& [name, value] : source.header().attributes()) {
        const bool goes = choice.remove.contains(name) || !isTechnical(name, value.text());
        if (goes && !choice.keep.contains(name))
            items.push_back({name, value.text()});
    }
    for (const ChunkExtent& chunk : source.otherChunks())
        if (!isSideData(chunk.type))
            items.push_back({chunkText(chunk.type), {}});
    return items;
}

// The bytes that must not occur in the copy.
std::vector<QByteArray> bytesToSearch(const MovieSource& source, const std::vector<IdentifyingItem>& items,
                                      bool relativeTimes)
{
    std::vector<QByteArray> searched;
    for (const IdentifyingItem& item : items) {
        if (item.value.isEmpty())
            continue;
        const QByteArray value = item.value.toLatin1();
        searched.push_back(item.name.toLatin1() + '=' + value + '\n');
        const QList<QByteArray> lines = value.split('\a') + QList<QByteArray>{value};
        for (const QByteArray& line : lines)
            if (line.size() >= shortestSearched)
                searched.push_back(line);
    }
    const FrameTimer& times = source.times();
    if (relativeTimes && !times.empty() && times.front() != timeval{})
        for (const timeval& time : {times.front(), times.back()})
            searched.push_back(storedTime(time));
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

std::vector<IdentifyingItem> identifyingItems(const QString& movie, const AnonymizeChoice& choice)
{
    return itemsOf(MovieSource(movie), choice);
}

Anonymized anonymizeMovie(const QString& movie, const AnonymizeChoice& choice, const MovieTarget& target,
                          const ProgressCallback& progress)
{
    const MovieSource source(movie);
    Anonymized result;
    result.removed = itemsOf(source, choice);
    MovieCopy copy(source);
    copy.dropUnusedChunks();
    for (const IdentifyingItem& item : result.removed)
        copy.header().erase(item.name);
    for (unsigned frame = 0; frame < source.frames(); ++frame)
        copy.add(source, frame);
    if (choice.relativeTimes)
        copy.makeTimesRelative();

    const std::unique_ptr<OutputFile> output = openMovieOutput(target, {movie});
    Progress done;
    done.framesTotal = copy.frames();
    copy.write(*output, done, progress);
    requireGone(*output, bytesToSearch(source, result.removed, choice.relativeTimes), progress);
    result.searchedBytes = copy.bytes();
    result.made = finishMovie(*output, copy);
    return result;
}

} // namespace zd::movietools
