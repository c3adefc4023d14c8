#include <libdataio/movieedit_p.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/chunkframing.h>
#include <libdataio/chunkheader.h>
#include <libdataio/editjournal_p.h>
#include <libdataio/filewriter.h>
#include <libdataio/imagefilelayout.h>

#include <algorithm>
#include <utility>

namespace zd {

namespace {

/// Puts the old info chunk back after a failure, as far as the system lets it.
void writeBack(FileWriter& file, unsigned int start, const std::vector<char>& payload) noexcept
{
    try {
        if (!file.seek(start))
            return;
        file.addChunk(ZD_INFO_CHUNK, payload.data(), static_cast<unsigned int>(payload.size()));
        file.truncate();
    } catch (...) {
        // The first failure is on its way to the caller; the journal still holds the old bytes.
    }
}

bool endsWhereItShould(const FileWriter& file, const ChunkRecord& frame)
{
    const std::int64_t end = frame.offset + layout::headerBytes + std::int64_t{frame.length};
    const QByteArray bytes = bytesAt(file.descriptor(), end, layout::headerBytes);
    ChunkEndHeader header;
    return bytes.size() == layout::headerBytes && header.decode(bytes.constData()) && header.type() == ZD_FRAME_CHUNK &&
           header.size() == frame.length;
}

/// Whether the index lists a chunk that begins within this one: bytes are missing from it.
bool holdsStartOfAnother(const ChunkIndex& index, const ChunkRecord& frame)
{
    const std::int64_t end = frame.offset + layout::framingBytes + std::int64_t{frame.length};
    for (const auto& [type, records] : index) {
        if (std::any_of(records.begin(), records.end(),
                        [&](const ChunkRecord& other) { return other.offset > frame.offset && other.offset < end; }))
            return true;
    }
    return false;
}

} // namespace

MovieEdit::MovieEdit() = default;
MovieEdit::~MovieEdit() = default;

EditProtection MovieEdit::begin(const QString& name, const FileWriter& file)
{
    if (!m_journaled)
        return EditProtection::Off;
    EditJournal::Beginning beginning = EditJournal::begin(name, file.descriptor(), file.offset());
    m_journal = std::move(beginning.journal);
    return beginning.protection;
}

bool MovieEdit::settle(const FileWriter& file)
{
    return zd::settle(file.descriptor());
}

void MovieEdit::keepChunk(const FileWriter& file, const ChunkRecord& record)
{
    if (m_journal)
        m_journal->keep(file.descriptor(), record.offset, layout::framingBytes + record.length);
}

void MovieEdit::announceEnd(std::int64_t infoStart, const QByteArray& infoPayload)
{
    if (m_journal)
        m_journal->announceEnd(infoStart + layout::framingBytes + infoPayload.size(), infoPayload);
}

void MovieEdit::finish()
{
    m_journal->end();
    m_journal.reset();
}

bool MovieEdit::abandon(const FileWriter& file) noexcept
{
    if (!m_journal)
        return false;
    m_journal->endIfWhole(file.descriptor());
    m_journal.reset();
    return true;
}

void MovieEdit::undo(const FileWriter& file)
{
    m_journal->undo(file.descriptor());
    m_journal.reset();
}

void writeInfoOverOld(FileWriter& file, std::vector<ChunkRecord>& records, const QByteArray& payload)
{
    const unsigned int start = file.offset();
    const auto* old = static_cast<const char*>(file.data());
    const std::vector<char> oldPayload(old, old + static_cast<unsigned int>(file.chunkSize()));
    const auto size = static_cast<unsigned int>(payload.size());
    file.reserve(size + layout::framingBytes);
    try {
        file.addChunk(ZD_INFO_CHUNK, payload.constData(), size);
        file.truncate();
    } catch (...) {
        writeBack(file, start, oldPayload);
        throw;
    }
    records.emplace_back(start, size);
}

bool isReplaceable(const FileWriter& file, const ChunkIndex& index, const ChunkRecord& frame)
{
    return endsWhereItShould(file, frame) || !holdsStartOfAnother(index, frame);
}

} // namespace zd
