#include <libdataio/editjournal_p.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/chunkheader.h>
#include <libdataio/chunkinfo.h>
#include <libdataio/fdchunkwriter.h>
#include <libdataio/filereader.h>
#include <libdataio/filewriter.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/recordingremains.h>
#include <libdataio/report_p.h>
#include <libdataio/systemcalls_p.h>

#include <common/iofileexception.h>

#include <QCryptographicHash>
#include <QFileInfo>
#include <QtEndian>

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>

namespace zd {

namespace {

// A journal: a header, then records of pieces of the movie. The header is a mark, the movie's length, the
// hash of the info payload that replaces the old one (zeros when none does) and a hash of all that. A record is
// offset, length, a hash of both and the bytes, and the bytes. Numbers are 64-bit little-endian, hashes SHA-1.
const QByteArray mark = QByteArrayLiteral("VQFJRNL1");
constexpr qsizetype markBytes = 8;
constexpr qsizetype numberBytes = 8;
constexpr qsizetype hashBytes = 20;
constexpr qsizetype headerBytes = markBytes + numberBytes + 2 * hashBytes;
constexpr qsizetype recordHeaderBytes = 2 * numberBytes + hashBytes;

QByteArray hashOf(const QByteArray& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha1);
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

/// Whether an info payload is long enough for the index that it says it holds.
bool holdsItsIndex(const QByteArray& payload)
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
    if (endBytes.size() != layout::headerBytes || !endHeader.decode(endBytes.constData())
        || endHeader.type() != ZD_INFO_CHUNK)
        return std::nullopt;
    const std::int64_t size = endHeader.size();
    const QByteArray chunk = bytesAt(fd, end - layout::framingBytes - size, layout::headerBytes + size);
    ChunkStartHeader startHeader;
    if (chunk.size() != layout::headerBytes + size || !startHeader.decode(chunk.constData())
        || startHeader.type() != ZD_INFO_CHUNK || startHeader.size() != size)
        return std::nullopt;
    const QByteArray payload = chunk.mid(layout::headerBytes);
    return holdsItsIndex(payload) ? std::optional(payload) : std::nullopt;
}

/// Whether the movie ends in an info chunk that is complete: with a replacement under way, the old or the new one.
bool isWhole(int movieFD, const QByteArray& oldInfoHash, const QByteArray& newInfoHash)
{
    const std::optional<QByteArray> info = infoEndingAt(movieFD, fileLength(movieFD));
    if (!info || newInfoHash == QByteArray(hashBytes, '\0'))
        return info.has_value();
    const QByteArray hash = hashOf(*info);
    return hash == oldInfoHash || hash == newInfoHash;
}

void syncDirectoryOf(const QByteArray& path)
{
    const qsizetype slash = path.lastIndexOf('/');
    const QByteArray directory = slash < 0 ? QByteArray(".") : path.left(slash + 1);
    const Descriptor fd(openFile(directory.constData(), O_RDONLY | O_DIRECTORY, 0));
    if (fd)
        syncFile(fd.get());
}

using KeptPiece = RecordingRemains::Piece;

/// What a journal says.
struct JournalContent {
    std::int64_t movieLength = 0;
    QByteArray newInfoHash;
    std::vector<KeptPiece> pieces; // the first is the movie's tail
};

std::optional<KeptPiece> readPiece(int fd, std::int64_t at)
{
    const QByteArray header = bytesAt(fd, at, recordHeaderBytes);
    if (header.size() != recordHeaderBytes)
        return std::nullopt;
    const KeptPiece piece{numberAt(header, 0), bytesAt(fd, at + recordHeaderBytes, numberAt(header, numberBytes))};
    const QByteArray hash = hashOf(header.left(2 * numberBytes) + piece.bytes);
    const bool whole = piece.bytes.size() == numberAt(header, numberBytes) && hash == header.mid(2 * numberBytes);
    return whole ? std::optional(piece) : std::nullopt;
}

/// The complete part of a journal; nothing when not even the movie's tail is in it.
std::optional<JournalContent> readJournal(int fd)
{
    const QByteArray header = bytesAt(fd, 0, headerBytes);
    if (header.size() != headerBytes || !header.startsWith(mark)
        || hashOf(header.left(headerBytes - hashBytes)) != header.right(hashBytes))
        return std::nullopt;
    JournalContent content;
    content.movieLength = numberAt(header, markBytes);
    content.newInfoHash = header.mid(markBytes + numberBytes, hashBytes);
    std::int64_t at = headerBytes;
    while (const std::optional<KeptPiece> piece = readPiece(fd, at)) {
        content.pieces.push_back(*piece);
        at += recordHeaderBytes + piece->bytes.size();
    }
    const bool complete = !content.pieces.empty()
        && content.pieces[0].offset + content.pieces[0].bytes.size() == content.movieLength;
    return complete ? std::optional(content) : std::nullopt;
}

/// Payload of the info chunk at the end of a movie's tail.
QByteArray infoOfTail(const QByteArray& tail)
{
    ChunkEndHeader header;
    if (tail.size() < layout::framingBytes || !header.decode(tail.constData() + tail.size() - layout::headerBytes)
        || tail.size() < layout::framingBytes + header.size())
        return {};
    return tail.mid(tail.size() - layout::headerBytes - header.size(), header.size());
}

/// Steps over a frame chunk whose two headers agree; damage ends the walk.
bool nextWholeFrame(FileReader& file)
{
    try {
        return file.nextChunk(ZD_FRAME_CHUNK) && file.prevChunk(ZD_FRAME_CHUNK) && file.nextChunk(ZD_FRAME_CHUNK);
    } catch (const IOFileException&) {
        return false;
    }
}

/// The first unused path for the frames that an edit had appended.
QString rescuePath(const QString& movie)
{
    const QString path = besidePath(movie, QStringLiteral("-rescued"));
    QString unused = path;
    for (int n = 2; QFileInfo::exists(unused); ++n)
        unused = path + QStringLiteral("-%1").arg(n);
    return unused;
}

/// Writes the frames from `start` on as a movie of their own, with the header that the edited movie had.
void rescueAppendedFrames(const QString& movie, std::int64_t start, const QByteArray& oldInfo)
{
    FileReader source;
    FileWriter rescued;
    ChunkInfo info;
    source.openFile(movie);
    source.seek(static_cast<int>(start));
    while (nextWholeFrame(source)) {
        if (!rescued.openned()) {
            rescued.openFile(rescuePath(movie), FileWriterCreate);
            info.load(oldInfo.constData(), static_cast<unsigned int>(oldInfo.size()));
            info.ChunkIndex::clear();
            FrameTimer::removeFromAttChunk(info);
        }
        const auto size = static_cast<unsigned int>(source.chunkSize());
        const int offset = rescued.addChunk(ZD_FRAME_CHUNK, source.data(), size);
        info[ZD_FRAME_CHUNK].emplace_back(static_cast<std::uint32_t>(offset), size);
    }
    if (!rescued.openned())
        return;
    int size = 0;
    const std::unique_ptr<char[]> payload(static_cast<char*>(info.save(size)));
    rescued.addChunk(ZD_INFO_CHUNK, payload.get(), static_cast<unsigned int>(size));
    rescued.sync();
}

/// Writes the kept pieces back, the oldest last, and gives the movie its old length.
void writeBack(int movieFD, const JournalContent& content)
{
    for (auto piece = content.pieces.rbegin(); piece != content.pieces.rend(); ++piece) {
        const Transfer transfer = writeBytesAt(movieFD, piece->offset, piece->bytes);
        if (transfer.bytes != piece->bytes.size())
            FDChunkWriter::reportWriteFailure(transfer.error, DATAIO_HERE);
    }
    if (truncateFile(movieFD, content.movieLength) == -1)
        FDChunkWriter::reportWriteFailure(errno, DATAIO_HERE);
    if (syncFile(movieFD) == -1 && EditJournal::isLoss(errno))
        FDChunkWriter::reportWriteFailure(errno, DATAIO_HERE);
}

} // namespace

EditJournal::EditJournal(const QByteArray& path, int fd) : m_path(path), m_fd(fd)
{
}

EditJournal::~EditJournal()
{
    systemCalls.close(m_fd);
}

std::unique_ptr<EditJournal> EditJournal::begin(const QString& movie, int movieFD, std::int64_t tailStart,
                                                const std::optional<QByteArray>& newInfo)
{
    const QByteArray path = journalPath(movie);
    const int fd = openFile(path.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (fd == -1)
        return nullptr;
    std::unique_ptr<EditJournal> journal(new EditJournal(path, fd));
    try {
        systemCalls.flock(fd, LOCK_EX | LOCK_NB);
        const std::int64_t length = fileLength(movieFD);
        journal->m_oldInfoHash = hashOf(infoEndingAt(movieFD, length).value_or(QByteArray()));
        journal->m_newInfoHash = newInfo ? hashOf(*newInfo) : QByteArray(hashBytes, '\0');
        const QByteArray fields = mark + number(length) + journal->m_newInfoHash;
        journal->_append(fields + hashOf(fields));
        journal->keep(movieFD, tailStart, length - tailStart);
        syncDirectoryOf(path);
    } catch (...) {
        journal->end();
        throw;
    }
    return journal;
}

void EditJournal::keep(int movieFD, std::int64_t offset, std::int64_t length)
{
    if (m_kept.contains(offset))
        return;
    const QByteArray bytes = bytesAt(movieFD, offset, length);
    if (bytes.size() != length)
        ChunkHeaderBase::reportReadFailure(EIO, DATAIO_HERE);
    const QByteArray fields = number(offset) + number(length);
    _append(fields + hashOf(fields + bytes) + bytes);
    _sync();
    m_kept.insert(offset);
}

void EditJournal::end() noexcept
{
    systemCalls.unlink(m_path.constData());
}

void EditJournal::endIfWhole(int movieFD) noexcept
{
    try {
        if (isWhole(movieFD, m_oldInfoHash, m_newInfoHash))
            end();
    } catch (...) {
        // Without memory to tell, the journal stays: the next edit looks again.
    }
}

bool EditJournal::restore(const QString& movie)
{
    const QByteArray path = journalPath(movie);
    const Descriptor journal(openFile(path.constData(), O_RDWR | O_NOFOLLOW | O_NONBLOCK, 0));
    if (!journal || !beginsAs(journal.get(), mark)
        || systemCalls.flock(journal.get(), LOCK_EX | LOCK_NB) == -1)
        return false;
    const std::optional<JournalContent> content = readJournal(journal.get());
    // Its edit died before it was complete, and so before the movie changed.
    if (!content) {
        systemCalls.unlink(path.constData());
        return false;
    }
    const Descriptor file(openFile(report::systemPath(movie).constData(), O_RDWR | O_NONBLOCK, 0));
    const KeptPiece& tail = content->pieces[0];
    if (!file || fileLength(file.get()) < tail.offset)
        return false;
    const QByteArray oldInfo = infoOfTail(tail.bytes);
    const bool undone = !isWhole(file.get(), hashOf(oldInfo), content->newInfoHash);
    if (undone) {
        rescueAppendedFrames(movie, tail.offset, oldInfo);
        writeBack(file.get(), *content);
    }
    systemCalls.unlink(path.constData());
    return undone;
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
    remains.editGoesOn = systemCalls.flock(journal.get(), LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK;
    const std::optional<JournalContent> content = readJournal(journal.get());
    const Descriptor file(openFile(report::systemPath(movie).constData(), O_RDONLY | O_NONBLOCK, 0));
    if (!content || !file)
        return;
    const QByteArray oldInfo = infoOfTail(content->pieces[0].bytes);
    if (isWhole(file.get(), hashOf(oldInfo), content->newInfoHash))
        return;
    remains.before = content->pieces;
    if (remains.headerSource == RecordingRemains::HeaderSource::None && holdsItsIndex(oldInfo)) {
        ChunkInfo record;
        record.load(oldInfo.constData(), static_cast<unsigned int>(oldInfo.size()));
        record.dump(remains.headerText);
        remains.headerSource = RecordingRemains::HeaderSource::EditJournal;
    }
}

bool EditJournal::isLoss(int error)
{
    return error == EIO || error == ENOSPC || error == EDQUOT;
}

void EditJournal::_append(const QByteArray& bytes)
{
    const Transfer transfer = writeBytesAt(m_fd, m_length, bytes);
    if (transfer.bytes != bytes.size())
        FDChunkWriter::reportWriteFailure(transfer.error, DATAIO_HERE);
    m_length += bytes.size();
}

void EditJournal::_sync()
{
    if (syncFile(m_fd) == -1 && isLoss(errno))
        FDChunkWriter::reportWriteFailure(errno, DATAIO_HERE);
}

} // namespace zd
