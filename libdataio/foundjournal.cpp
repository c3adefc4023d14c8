#include <libdataio/foundjournal_p.h>

#include <libdataio/fdchunkwriter.h>
#include <libdataio/report_p.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

#include <fcntl.h>
#include <sys/file.h>

namespace zd {

namespace {

template <std::size_t count>
bool isAmong(const int (&errors)[count], int error)
{
    return std::find(std::begin(errors), std::end(errors), error) != std::end(errors);
}

constexpr int absent[] = {ENOENT, ENOTDIR, ENAMETOOLONG};
constexpr int foreign[] = {EACCES, EPERM, EROFS, EISDIR, ELOOP, ENXIO, ENODEV};

/// Whether an edit holds the journal; asked without keeping anybody from it for longer than that.
bool isHeldByOthers(int journalFD)
{
    if (systemCalls.flock(journalFD, LOCK_SH | LOCK_NB) == -1)
        return errno == EWOULDBLOCK;
    systemCalls.flock(journalFD, LOCK_UN);
    return false;
}

} // namespace

QByteArray journalPath(const QString& movie)
{
    return report::systemPath(besidePath(movie, QStringLiteral("-journal")));
}

void requireAnswer(int error)
{
    if (!isAmong(absent, error) && !isAmong(foreign, error))
        FDChunkWriter::reportWriteFailure(error);
}

bool isBeingEdited(const QString& movie) noexcept
{
    try {
        const Descriptor journal(openFile(journalPath(movie).constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW, 0));
        return processLocks() && journal && isOurs(journal.get(), journalMark, movie) && isHeldByOthers(journal.get());
    } catch (...) {
        return false;
    }
}

FoundJournal::FoundJournal(const QString& movie, int movieFD, Purpose purpose)
    : m_path(journalPath(movie)),
      m_file(openFile(m_path.constData(), (purpose == Purpose::Undo ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_NOFOLLOW, 0)),
      m_openError(m_file ? 0 : errno),
      m_state(_examine(movie, movieFD, purpose))
{
}

FoundJournal::State FoundJournal::_examine(const QString& movie, int movieFD, Purpose purpose)
{
    if (!m_file) {
        requireAnswer(m_openError);
        return isAmong(absent, m_openError) ? State::Absent : State::Foreign;
    }
    m_isOurs = zd::isOurs(m_file.get(), journalMark, movie);
    if (!m_isOurs)
        return State::Foreign;
    const bool locked = processLocks();
    if (locked && purpose == Purpose::Undo ? m_lock.attempt(m_file.get()) == FileLock::Attempt::Busy
                                           : locked && isHeldByOthers(m_file.get()))
        return State::InUse;
    m_content = JournalContent::of(m_file.get());
    if (!m_content)
        return lengthOf(m_file.get()) == journalMark.size() ? State::Spent : State::Foreign;
    switch (stateOf(movieFD, *m_content, m_file.get())) {
    case MovieState::Whole:
        return State::Spent;
    case MovieState::Torn:
        return State::Torn;
    case MovieState::Another:
        break;
    }
    return State::Foreign;
}

void FoundJournal::remove() const noexcept
{
    zd::remove(m_path, m_file.get(), journalMark);
}

} // namespace zd
