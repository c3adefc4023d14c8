#pragma once

#include <libdataio/besidefile_p.h>
#include <libdataio/filelock_p.h>
#include <libdataio/journalcontent_p.h>

#include <QByteArray>
#include <QString>

#include <optional>

namespace zd {

/// Path of the journal of an edit of the movie.
QByteArray journalPath(const QString& movie);

/// Reports an error of opening that does not tell whether the file is there ("FDCW_AC_WRITE"): an edit must not begin while it
/// is not known whether another one has to be undone.
void requireAnswer(int error);

/// Whether somebody edits the movie just now, by its journal. What cannot be told counts as no.
bool isBeingEdited(const QString& movie) noexcept;

/// What lies where the journal of a movie would lie, and whether it can be believed: only when it belongs to the caller or to
/// the movie's owner, and only of the movie of which it speaks.
class FoundJournal {
public:
    enum class State {
        Absent,
        Foreign, ///< not the library's, of a stranger, or of another movie: it is left alone
        InUse,   ///< the edit is going on
        Spent,   ///< the edit never began, or it ended: the journal can go
        Torn,    ///< the movie is what the edit has left when it died
    };
    enum class Purpose {
        Look,
        Undo, ///< takes the journal: nobody else undoes the edit meanwhile
    };

    /// Looks beside the movie that is open on `movieFD`. Reports "CHB_LDF_READ", and "FDCW_AC_WRITE" when it cannot be told
    /// whether there is a journal.
    FoundJournal(const QString& movie, int movieFD, Purpose purpose);

    State state() const { return m_state; }
    /// Of a journal in use, of a foreign one, and of a spent one it need not be there.
    const std::optional<JournalContent>& content() const { return m_content; }
    int descriptor() const { return m_file.get(); }
    const QByteArray& path() const { return m_path; }
    /// Whether the file is the library's, whatever movie it speaks of.
    bool isOurs() const { return m_isOurs; }
    /// The edit is undone, or was over: removes the journal.
    void remove() const noexcept;

private:
    State _examine(const QString& movie, int movieFD, Purpose purpose);

    const QByteArray m_path;
    const Descriptor m_file;
    const int m_openError;
    FileLock m_lock;
    bool m_isOurs = false;
    std::optional<JournalContent> m_content;
    State m_state = State::Absent;
};

} // namespace zd
