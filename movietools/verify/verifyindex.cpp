#include <movietools/verify/verifychecks_p.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/job/wording.h>

#include <algorithm>
#include <set>

namespace zd::movietools {

namespace {

/// Compares the stored index with the chunks of the file.
class IndexCheck {
public:
    IndexCheck(const MovieContent& movie, Findings& findings) : m_movie(movie), m_findings(findings) {}

    void run();

private:
    void add(const char* name, Severity severity, std::int64_t offset, const QString& expected, const QString& found,
             const char* advice = "recover the movie into a new file");
    std::int64_t recordOffset(std::size_t record) const;
    void checkRecord(std::size_t record);
    void checkTarget(std::size_t record);
    void checkOverlaps();
    void checkGrouping();
    void checkOrphans();

    const MovieContent& m_movie;
    Findings& m_findings;
    std::set<std::uint32_t> m_listed; // offsets
};

QString recordText(const IndexEntry& entry)
{
    return QStringLiteral("%1 with %2 bytes at offset %3")
        .arg(chunkText(entry.type))
        .arg(entry.length)
        .arg(entry.offset);
}

void IndexCheck::run()
{
    if (!m_movie.info.holdsDeclaredRecords) {
        add("index-unreadable", Severity::Error, m_movie.infoChunk->payload(),
            QStringLiteral("room for %1 records").arg(m_movie.info.declaredRecords),
            QStringLiteral("%1 bytes").arg(m_movie.infoChunk->size));
        return;
    }
    for (std::size_t record = 0; record < m_movie.info.entries.size(); ++record)
        checkRecord(record);
    checkOverlaps();
    checkGrouping();
    checkOrphans();
}

void IndexCheck::add(const char* name, Severity severity, std::int64_t offset, const QString& expected,
                     const QString& found, const char* advice)
{
    m_findings.add(name, severity, offset, expected, found, advice);
}

std::int64_t IndexCheck::recordOffset(std::size_t record) const
{
    return m_movie.infoChunk->payload() + layout::indexCountBytes +
           static_cast<std::int64_t>(record) * layout::indexRecordBytes;
}

void IndexCheck::checkRecord(std::size_t record)
{
    const IndexEntry& entry = m_movie.info.entries[record];
    if (entry.type == ZD_INFO_CHUNK)
        add("index-lists-info", Severity::Error, recordOffset(record), QStringLiteral("no record of an info chunk"),
            recordText(entry));
    if (!m_listed.insert(entry.offset).second)
        add("index-record-repeated", Severity::Error, recordOffset(record), QStringLiteral("every chunk once"),
            recordText(entry));
    checkTarget(record);
}

void IndexCheck::checkTarget(std::size_t record)
{
    const IndexEntry& entry = m_movie.info.entries[record];
    const WalkedPiece* chunk = m_movie.chunkAt(entry.offset);
    if (!chunk)
        add("index-record-astray", Severity::Error, recordOffset(record), recordText(entry),
            QStringLiteral("no chunk there"));
    else if (chunk->type != entry.type || chunk->size != entry.length)
        add("index-record-wrong", Severity::Error, recordOffset(record), recordText(entry),
            recordText({chunk->type, entry.offset, chunk->size}));
}

void IndexCheck::checkOverlaps()
{
    std::vector<IndexEntry> sorted = m_movie.info.entries;
    std::sort(sorted.begin(), sorted.end(),
              [](const IndexEntry& a, const IndexEntry& b) { return a.offset < b.offset; });
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        const std::int64_t end = std::int64_t{sorted[i - 1].offset} + sorted[i - 1].length + layout::framingBytes;
        if (sorted[i].offset != sorted[i - 1].offset && sorted[i].offset < end)
            add("index-records-overlap", Severity::Error, m_movie.infoChunk->payload(),
                QStringLiteral("chunks beside each other"),
                QStringLiteral("%1; %2").arg(recordText(sorted[i - 1]), recordText(sorted[i])));
    }
}

void IndexCheck::checkGrouping()
{
    const std::vector<IndexEntry>& entries = m_movie.info.entries;
    const auto unsorted = std::is_sorted_until(
        entries.begin(), entries.end(), [](const IndexEntry& a, const IndexEntry& b) { return a.type < b.type; });
    if (unsorted != entries.end())
        add("index-unsorted", Severity::Note, recordOffset(static_cast<std::size_t>(unsorted - entries.begin())),
            QStringLiteral("records in order of type"), recordText(*unsorted), "readers accept it");
}

void IndexCheck::checkOrphans()
{
    for (const WalkedPiece& piece : m_movie.pieces) {
        const bool isInfo = piece.type == ZD_INFO_CHUNK || piece.offset == m_movie.infoChunk->offset;
        if (!piece.isWhole() || isInfo || piece.offset > std::int64_t{UINT32_MAX} ||
            m_listed.contains(static_cast<std::uint32_t>(piece.offset)))
            continue;
        const bool ours = piece.type == ZD_FRAME_CHUNK || isSideData(piece.type);
        add("chunk-not-listed", ours ? Severity::Error : Severity::Note, piece.offset,
            QStringLiteral("a record in the index"),
            QStringLiteral("%1 with %2 bytes and none").arg(chunkText(piece.type)).arg(piece.size),
            ours ? "readers do not see it: recover the movie into a new file" : "another program may use it");
    }
}

} // namespace

void checkIndex(const MovieContent& movie, Findings& findings)
{
    IndexCheck(movie, findings).run();
}

} // namespace zd::movietools
