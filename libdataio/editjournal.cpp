#include <libdataio/editjournal_p.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/chunkheader.h>
#include <libdataio/chunkinfo.h>
#include <libdataio/fdchunkwriter.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/recordingremains.h>
#include <libdataio/report_p.h>
#include <libdataio/rescuedframes_p.h>

#include <QCryptographicHash>
#include <QtEndian>

#include <algorithm>
#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>

namespace zd {

namespace {

using MovieEnd = EditJournal::MovieEnd;

// A journal: a mark, then records. A record is its kind (1 byte), a number, the length of its bytes, a hash of all
// that and the bytes, and the bytes. The first record is the tail of the movie. Numbers and lengths are 64-bit
// little-endian, hashes SHA-1.
const QByteArray mark = QByteArrayLiteral("VQFJRNL1");
constexpr char pieceKind = 'P'; // a piece of the movie as it was; the number is its offset
constexpr char endKind = 'E';   // the hash of the info payload to come; the number is the movie's length then
constexpr qsizetype kindBytes = 1;
constexpr qsizetype numberBytes = 8;
constexpr qsizetype hashBytes = 20;
constexpr qsizetype fieldBytes = kindBytes + 2 * numberBytes;
constexpr qsizetype recordHeaderBytes = fieldBytes + hashBytes;

QByteArray hashOf(const QByteArray& first, const QByteArray& second = QByteArray())
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    hash.addData(first);
    hash.addData(second);
    return hash.result();
}

QByteArray number(std::int64_t value)
{
    QByteArray bytes(numberBytes, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

std::int64_t numberAt(const QByteArray& bytes, qsizetype at)
{
    return qFromLittleEndian<qint64>(bytes.constData() + at);
}

QByteArray journalPath(const QString& movie)
{
    return report::systemPath(besidePath(movie, QStringLiteral("-journal")));
}

/// Whether an info payload holds the index that it announces.
bool holdsIndex(const QByteArray& payload)
{
    if (payload.size() < layout::indexCountBytes)
        return false;
    const std::int64_t records = qFromLittleEndian<quint32>(payload.constData());
    return layout::indexCountBytes + records * layout::indexRecordBytes <= payload.size();
}

/// Payload of the info chunk that ends at `end`, when its two headers agree and it holds its own index.
std::optional<QByteArray> infoEndingAt(int fd, std::int64_t end)
{
    const QByteArray endBytes = bytesAt(fd, end - layout::headerBytes, layout::headerBytes);
    ChunkEndHeader endHeader;
    if (endBytes.size() != layout::headerBytes || !endHeader.decode(endBytes.constData()) ||
        endHeader.type() != ZD_INFO_CHUNK)
        return std::nullopt;
    const std::int64_t size = endHeader.size();
    const QByteArray chunk = bytesAt(fd, end - layout::framingBytes - size, layout::headerBytes + size);
    ChunkStartHeader startHeader;
    if (chunk.size() != layout::headerBytes + size || !startHeader.decode(chunk.constData()) ||
        startHeader.type() != ZD_INFO_CHUNK || startHeader.size() != size)
        return std::nullopt;
    const QByteArray payload = chunk.mid(layout::headerBytes);
    return holdsIndex(payload) ? std::optional(payload) : std::nullopt;
}

/// Whether the movie ends in a complete info chunk. When the new end was announced, one that is neither the old nor
/// the new one is torn, unless the length shows that somebody has put another movie here.
bool isWhole(int movieFD, const MovieEnd& oldEnd, const std::optional<MovieEnd>& newEnd)
{
    const std::int64_t length = lengthOf(movieFD);
    const std::optional<QByteArray> info = infoEndingAt(movieFD, length);
    if (!info || !newEnd)
        return info.has_value();
    const QByteArray hash = hashOf(*info);
    return hash == oldEnd.infoHash || hash == newEnd->infoHash || (length != oldEnd.length && length != newEnd->length);
}

/// A record of a journal.
struct Record {
    char kind = 0;
    std::int64_t number = 0;
    QByteArray bytes;
};

/// The record at `at`; nothing where the complete part of the journal ends.
std::optional<Record> readRecord(int fd, std::int64_t at)
{
    const QByteArray header = bytesAt(fd, at, recordHeaderBytes);
    if (header.size() != recordHeaderBytes)
        return std::nullopt;
    const std::int64_t length = numberAt(header, kindBytes + numberBytes);
    const Record record{header[0], numberAt(header, kindBytes), bytesAt(fd, at + recordHeaderBytes, length)};
    const bool whole =
        record.bytes.size() == length && hashOf(header.first(fieldBytes), record.bytes) == header.last(hashBytes);
    return whole ? std::optional(record) : std::nullopt;
}

/// What a journal says. The kept pieces stay in it: an edit may have replaced many frames.
struct JournalContent {
    Record tail;
    MovieEnd oldEnd;
    std::optional<MovieEnd> newEnd;
    std::vector<std::int64_t> pieces; // where the records of pieces other than the tail begin
};

/// Payload of the info chunk at the end of a movie's tail; empty when it holds no index.
QByteArray infoOfTail(const QByteArray& tail)
{
    ChunkEndHeader header;
    if (tail.size() < layout::framingBytes || !header.decode(tail.constData() + tail.size() - layout::headerBytes) ||
        tail.size() < layout::framingBytes + header.size())
        return {};
    const QByteArray payload = tail.mid(tail.size() - layout::headerBytes - header.size(), header.size());
    return holdsIndex(payload) ? payload : QByteArray();
}

/// Whether the record is a piece of a movie of that length.
bool isPieceOf(const Record& record, std::int64_t movieLength)
{
    return record.kind == pieceKind && record.number >= 0 && record.number <= movieLength - record.bytes.size();
}

/// The complete part of a journal; nothing when not even the movie's tail is in it.
std::optional<JournalContent> readJournal(int fd)
{
    std::int64_t at = mark.size();
    const std::optional<Record> first = bytesAt(fd, 0, at) == mark ? readRecord(fd, at) : std::nullopt;
    if (!first || !isPieceOf(*first, static_cast<std::int64_t>(layout::largestSizeLimit)))
        return std::nullopt;
    JournalContent content;
    content.tail = *first;
    content.oldEnd = {first->number + first->bytes.size(), hashOf(infoOfTail(first->bytes))};
    at += recordHeaderBytes + first->bytes.size();
    while (const std::optional<Record> record = readRecord(fd, at)) {
        if (record->kind == endKind)
            content.newEnd = {record->number, record->bytes};
        else if (isPieceOf(*record, content.oldEnd.length))
            content.pieces.push_back(at);
        at += recordHeaderBytes + record->bytes.size();
    }
    return content;
}

void requireSettled(int fd)
{
    if (!EditJournal::settle(fd))
        FDChunkWriter::reportWriteFailure(errno);
}

void writePiece(int movieFD, std::int64_t offset, const QByteArray& bytes)
{
    const Transfer transfer = writeBytesAt(movieFD, offset, bytes);
    if (transfer.bytes != bytes.size())
        FDChunkWriter::reportWriteFailure(transfer.error);
}

void cut(int movieFD, std::int64_t length)
{
    if (truncateFile(movieFD, length) == -1)
        FDChunkWriter::reportWriteFailure(errno);
}

/// Gives the movie its old content. Its last header goes last: only with that does it look whole, so that a crash in
/// between leaves it for the next attempt.
void writeBack(int movieFD, int journalFD, const JournalContent& content)
{
    cut(movieFD, content.tail.number);
    requireSettled(movieFD);
    // Pieces may overlap where the index is damaged: the one kept first is the oldest and goes last.
    for (auto at = content.pieces.rbegin(); at != content.pieces.rend(); ++at) {
        if (const std::optional<Record> piece = readRecord(journalFD, *at))
            writePiece(movieFD, piece->number, piece->bytes);
    }
    const QByteArray& tail = content.tail.bytes;
    const qsizetype lastHeader = std::max<qsizetype>(0, tail.size() - layout::headerBytes);
    writePiece(movieFD, content.tail.number, tail.first(lastHeader));
    requireSettled(movieFD);
    writePiece(movieFD, content.tail.number + lastHeader, tail.sliced(lastHeader));
    requireSettled(movieFD);
}

/// Whether another edit holds the journal. Where files cannot be locked nobody can tell.
bool isInUse(int journalFD)
{
    return lockFile(journalFD) == -1 && errno == EWOULDBLOCK;
}

/// The file is not there, or not for this program. Any other failure is reported: an edit must not begin while it is not
/// known whether another one has to be undone.
void requireAbsent(int error)
{
    constexpr int absent[] = {ENOENT, ENOTDIR, EISDIR, ELOOP, ENAMETOOLONG, ENXIO, EACCES, EPERM, EROFS};
    if (std::find(std::begin(absent), std::end(absent), error) == std::end(absent))
        FDChunkWriter::reportWriteFailure(error);
}

} // namespace

EditJournal::EditJournal(const QByteArray& path) : m_path(path) {}

EditJournal::~EditJournal()
{
    if (m_fd != -1)
        systemCalls.close(m_fd);
}

std::unique_ptr<EditJournal> EditJournal::begin(const QString& movie, int movieFD, std::int64_t tailStart)
{
    const QByteArray path = journalPath(movie);
    std::unique_ptr<EditJournal> journal(new EditJournal(path));
    journal->m_fd = openFile(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (journal->m_fd == -1)
        return nullptr;
    try {
        systemCalls.flock(journal->m_fd, LOCK_EX | LOCK_NB);
        // A journal without its mark would be taken for another's file, and stay for ever.
        writePiece(journal->m_fd, 0, mark);
        requireSettled(journal->m_fd);
        journal->m_length = mark.size();
        const std::int64_t length = lengthOf(movieFD);
        journal->m_oldEnd = {length, hashOf(infoEndingAt(movieFD, length).value_or(QByteArray()))};
        journal->m_tailStart = tailStart;
        journal->_keepPiece(movieFD, tailStart, length - tailStart);
        syncDirectoryOf(path);
    } catch (...) {
        journal->end();
        throw;
    }
    return journal;
}

void EditJournal::keep(int movieFD, std::int64_t offset, std::int64_t length)
{
    if (offset < m_tailStart && !m_kept.contains(offset))
        _keepPiece(movieFD, offset, length);
}

void EditJournal::_keepPiece(int movieFD, std::int64_t offset, std::int64_t length)
{
    const QByteArray bytes = bytesAt(movieFD, offset, length);
    if (bytes.size() != length)
        ChunkHeaderBase::reportReadFailure(EIO);
    _append(pieceKind, offset, bytes);
    m_kept.insert(offset);
}

void EditJournal::announceEnd(std::int64_t movieLength, const QByteArray& infoPayload)
{
    const MovieEnd newEnd{movieLength, hashOf(infoPayload)};
    _append(endKind, newEnd.length, newEnd.infoHash);
    m_newEnd = newEnd;
}

/// Adds a record and waits until it is on the storage device.
void EditJournal::_append(char kind, std::int64_t recordNumber, const QByteArray& bytes)
{
    const QByteArray fields = QByteArray(1, kind) + number(recordNumber) + number(bytes.size());
    QByteArray header = fields + hashOf(fields, bytes);
    iovec pieces[] = {{header.data(), static_cast<std::size_t>(header.size())},
                      {const_cast<char*>(bytes.constData()), static_cast<std::size_t>(bytes.size())}};
    const Transfer transfer = writePieces(m_fd, pieces, 2, m_length);
    if (transfer.bytes != header.size() + bytes.size())
        FDChunkWriter::reportWriteFailure(transfer.error);
    requireSettled(m_fd);
    m_length += transfer.bytes;
}

void EditJournal::end() noexcept
{
    remove(m_path, m_fd);
}

void EditJournal::endIfWhole(int movieFD) noexcept
{
    try {
        if (settle(movieFD) && isWhole(movieFD, m_oldEnd, m_newEnd))
            end();
    } catch (...) {
        // Without memory to tell, the journal stays: the next edit looks again.
    }
}

void EditJournal::undo(int movieFD)
{
    if (const std::optional<JournalContent> content = readJournal(m_fd))
        writeBack(movieFD, m_fd, *content);
    end();
}

EditJournal::Restored EditJournal::restore(const QString& movie, const std::optional<FileIdentity>& lockedAlready)
{
    const QByteArray path = report::systemPath(besidePath(movie, QString()));
    constexpr int flags = O_RDWR | O_NONBLOCK;
    LockedFile file = processLocks() ? openLocked(path.constData(), flags, 0, lockedAlready)
                                     : LockedFile{openFile(path.constData(), flags, 0), {}};
    const Descriptor descriptor(file.fd);
    const FileLock lock(std::move(file.lock));
    if (descriptor)
        return restore(movie, descriptor.get());
    if (errno == EBUSY)
        return Restored::InUse;
    requireAbsent(errno);
    return Restored::Nothing;
}

EditJournal::Restored EditJournal::restore(const QString& movie, int movieFD)
{
    const QByteArray path = journalPath(movie);
    const Descriptor journal(openFile(path.constData(), O_RDWR | O_NONBLOCK | O_NOFOLLOW, 0));
    if (!journal)
        requireAbsent(errno);
    if (!journal || !beginsAs(journal.get(), mark))
        return Restored::Nothing;
    if (isInUse(journal.get()))
        return Restored::InUse;
    const std::optional<JournalContent> content = readJournal(journal.get());
    // Its edit died before it was complete, and so before the movie changed.
    if (!content) {
        remove(path, journal.get());
        return Restored::Nothing;
    }
    const bool undone = !isWhole(movieFD, content->oldEnd, content->newEnd);
    if (undone && lengthOf(movieFD) < content->tail.number)
        return Restored::Nothing;
    if (undone) {
        rescueFrames(movie, movieFD, content->tail.number, infoOfTail(content->tail.bytes));
        writeBack(movieFD, journal.get(), *content);
    }
    remove(path, journal.get());
    RecordingRemains::remove(movie);
    return undone ? Restored::Undone : Restored::Nothing;
}

EditProtection EditJournal::protectionOf(const QString& movie)
{
    const QByteArray path = journalPath(movie);
    const Descriptor journal(openFile(path.constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW, 0));
    if (journal || errno != ENOENT)
        return journal && beginsAs(journal.get(), mark) ? EditProtection::Journal : EditProtection::ForeignJournal;
    const Descriptor unnamed(openFile(folderOf(path).constData(), O_WRONLY | O_TMPFILE, 0600));
    constexpr int refusals[] = {EACCES, EPERM, EROFS, ENOENT, ENOTDIR};
    const bool refused = !unnamed && std::find(std::begin(refusals), std::end(refusals), errno) != std::end(refusals);
    return refused ? EditProtection::NoFolder : EditProtection::Journal;
}

void EditJournal::discard(const QString& movie)
{
    removeBeside(journalPath(movie), mark);
}

void EditJournal::addTo(RecordingRemains& remains, const QString& movie)
{
    const Descriptor journal(openFile(journalPath(movie).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0));
    if (!journal || !beginsAs(journal.get(), mark))
        return;
    remains.hasJournal = true;
    remains.editGoesOn = isInUse(journal.get());
    const std::optional<JournalContent> content = readJournal(journal.get());
    const Descriptor file(openFile(report::systemPath(movie).constData(), O_RDONLY | O_NONBLOCK, 0));
    if (!content || !file || isWhole(file.get(), content->oldEnd, content->newEnd))
        return;
    remains.before.push_back({content->tail.number, content->tail.bytes});
    for (const std::int64_t at : content->pieces) {
        if (const std::optional<Record> piece = readRecord(journal.get(), at))
            remains.before.push_back({piece->number, piece->bytes});
    }
    const QByteArray info = infoOfTail(content->tail.bytes);
    if (remains.headerSource == RecordingRemains::HeaderSource::None && !info.isEmpty()) {
        ChunkInfo record;
        record.load(info.constData(), static_cast<unsigned int>(info.size()));
        record.dump(remains.headerText);
        remains.headerSource = RecordingRemains::HeaderSource::EditJournal;
    }
}

bool EditJournal::settle(int fd)
{
    return syncFile(fd) == 0 || (errno != EIO && errno != ENOSPC && errno != EDQUOT);
}

} // namespace zd
