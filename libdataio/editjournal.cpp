#include <libdataio/editjournal_p.h>

#include <libdataio/chunkheader.h>
#include <libdataio/comingfile_p.h>
#include <libdataio/fdchunkwriter.h>
#include <libdataio/foundjournal_p.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/recordinglog_p.h>
#include <libdataio/report_p.h>
#include <libdataio/rescuedframes_p.h>

#include <common/iofileexception.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include <fcntl.h>

namespace zd {

namespace {

void requireSettled(int fd)
{
    if (!settle(fd))
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
    cut(movieFD, content.tailStart);
    requireSettled(movieFD);
    // Pieces may overlap where the index is damaged: the one kept first is the oldest and goes last.
    for (auto piece = content.pieces.rbegin(); piece != content.pieces.rend(); ++piece)
        writePiece(movieFD, piece->offset, content.bytesOf(*piece, journalFD));
    const QByteArray& tail = content.tail;
    const qsizetype lastHeader = std::max<qsizetype>(0, tail.size() - layout::headerBytes);
    writePiece(movieFD, content.tailStart, tail.first(lastHeader));
    requireSettled(movieFD);
    writePiece(movieFD, content.tailStart + lastHeader, tail.sliced(lastHeader));
    requireSettled(movieFD);
}

/// What becomes of an edit whose journal could not be made. An error that says nothing about name and folder, such as a full
/// disk, is reported, as when the journal cannot be written.
EditProtection protectionWhere(int error)
{
    constexpr int refusals[] = {EACCES, EPERM,      EROFS,  ENOENT, ENOTDIR, ENAMETOOLONG,
                                ELOOP,  EOPNOTSUPP, EINVAL, ENOSYS, EMLINK,  EXDEV};
    if (error == EEXIST)
        return EditProtection::ForeignJournal;
    if (std::find(std::begin(refusals), std::end(refusals), error) == std::end(refusals))
        FDChunkWriter::reportWriteFailure(error);
    return EditProtection::NoFolder;
}

} // namespace

EditJournal::Beginning EditJournal::begin(const QString& movie, int movieFD, std::int64_t tailStart)
{
    const QByteArray path = journalPath(movie);
    std::unique_ptr<EditJournal> journal(new EditJournal(path));
    if (!journal->m_file)
        return {nullptr, protectionWhere(errno)};
    journal->_begin(movieFD, tailStart);
    if (!journal->m_file.appearAs(path))
        return {nullptr, protectionWhere(errno)};
    syncDirectoryOf(path);
    return {std::move(journal), EditProtection::Journal};
}

void EditJournal::_begin(int movieFD, std::int64_t tailStart)
{
    if (processLocks())
        m_lock.attempt(m_file.get());
    writePiece(m_file.get(), 0, journalMark);
    m_length = journalMark.size();
    const std::int64_t movieLength = lengthOf(movieFD);
    _append(JournalRecord::Movie, movieLength, MovieSign::of(movieFD, tailStart).encoded());
    m_tailStart = tailStart;
    _keepPiece(movieFD, tailStart, movieLength - tailStart);
    requireSettled(m_file.get());
}

EditProtection EditJournal::protectionOf(const QString& movie)
{
    const Descriptor file(openFile(report::systemPath(movie).constData(), O_RDONLY | O_NONBLOCK, 0));
    if (file && FoundJournal(movie, file.get(), FoundJournal::Purpose::Look).state() == FoundJournal::State::Foreign)
        return EditProtection::ForeignJournal;
    return ComingFile(journalPath(movie)) ? EditProtection::Journal : EditProtection::NoFolder;
}

void EditJournal::keep(int movieFD, std::int64_t offset, std::int64_t length)
{
    if (offset >= m_tailStart || m_kept.contains(offset))
        return;
    _keepPiece(movieFD, offset, length);
    requireSettled(m_file.get());
    m_kept.insert(offset);
}

void EditJournal::_keepPiece(int movieFD, std::int64_t offset, std::int64_t length)
{
    const QByteArray bytes = bytesAt(movieFD, offset, length);
    if (bytes.size() != length)
        ChunkHeaderBase::reportReadFailure(EIO);
    _append(JournalRecord::Piece, offset, bytes);
}

void EditJournal::announceEnd(std::int64_t movieLength, const QByteArray& infoPayload)
{
    _append(JournalRecord::End, movieLength, infoPayload);
    requireSettled(m_file.get());
}

/// Adds a record, which counts when it is on the storage device.
void EditJournal::_append(JournalRecord::Kind kind, std::int64_t number, const QByteArray& bytes)
{
    QByteArray header = JournalRecord::header(kind, number, bytes);
    iovec pieces[] = {{header.data(), static_cast<std::size_t>(header.size())},
                      {const_cast<char*>(bytes.constData()), static_cast<std::size_t>(bytes.size())}};
    const Transfer transfer = writePieces(m_file.get(), pieces, 2, m_length);
    if (transfer.bytes != header.size() + bytes.size())
        FDChunkWriter::reportWriteFailure(transfer.error);
    m_length += transfer.bytes;
}

void EditJournal::end() noexcept
{
    remove(m_path, m_file.get(), journalMark);
}

void EditJournal::endIfWhole(int movieFD) noexcept
{
    try {
        const std::optional<JournalContent> content = JournalContent::of(m_file.get());
        if (settle(movieFD) && content && stateOf(movieFD, *content, m_file.get()) == MovieState::Whole)
            end();
    } catch (...) {
        // Without memory to tell, the journal stays: the next edit looks again.
    }
}

void EditJournal::undo(int movieFD)
{
    if (const std::optional<JournalContent> content = JournalContent::of(m_file.get()))
        writeBack(movieFD, m_file.get(), *content);
    end();
}

bool EditJournal::restore(const FoundJournal& found, const QString& movie, int movieFD)
{
    const bool torn = found.state() == FoundJournal::State::Torn;
    if (!torn && found.state() != FoundJournal::State::Spent)
        return false;
    if (torn) {
        rescueFrames(movie, movieFD, found.content()->tailStart, found.content()->oldInfo());
        writeBack(movieFD, found.descriptor(), *found.content());
    }
    // The journal goes last: while it is there, whoever comes after a death here does the rest.
    RecordingLog::discard(movie);
    dropHeader(movieFD);
    found.remove();
    return torn;
}

void EditJournal::discard(const QString& movie)
{
    const QByteArray path = journalPath(movie);
    const Descriptor journal(openFile(path.constData(), O_RDWR | O_NOFOLLOW | O_NONBLOCK, 0));
    FileLock lock;
    try {
        if (journal && isOurs(journal.get(), journalMark, movie) &&
            (!processLocks() || lock.attempt(journal.get()) != FileLock::Attempt::Busy))
            remove(path, journal.get(), journalMark);
    } catch (const IOFileException&) {
        // Whose it is cannot be read: it stays.
    }
}

} // namespace zd
