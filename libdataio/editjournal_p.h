#pragma once

#include <libdataio/editprotection.h>
#include <libdataio/filelock_p.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <set>

namespace zd {

struct RecordingRemains;

/// Keeps the bytes that an edit of a closed movie is about to destroy, in a file beside the movie
/// (`<name>-journal`), until the movie is whole again.
///
/// The journal is on the storage device before the first byte of the movie changes. It is locked while its edit
/// goes on, so that nobody takes a living edit for a dead one.
class EditJournal {
public:
    /// Length of a movie, and the hash of the info payload at its end.
    struct MovieEnd {
        std::int64_t length = 0;
        QByteArray infoHash;
    };

    /// What came of looking for an edit that died.
    enum class Restored {
        Nothing, ///< there was nothing to undo
        Undone,  ///< the movie is as it was before that edit
        InUse,   ///< the edit is going on
    };

    /// What would protect an edit of a movie. Nothing is changed.
    static EditProtection protectionOf(const QString& movie);
    /// Starts a journal for the movie open on `movieFD` and keeps everything from `tailStart` to its end. Null with errno
    /// when no file can be made there. Reports "FDCW_AC_WRITE" when it cannot be written whole.
    static std::unique_ptr<EditJournal> begin(const QString& movie, int movieFD, std::int64_t tailStart);
    /// Undoes an edit of the movie open on `movieFD` that died; see `ImageWriter::undoInterruptedEdit`. Reports the
    /// failures of writing.
    static Restored restore(const QString& movie, int movieFD);
    /// The same of a movie that nobody has open here. One that somebody has locked is in use.
    static Restored restore(const QString& movie, const std::optional<FileIdentity>& lockedAlready);
    /// Removes a journal left beside a movie that has just been created anew.
    static void discard(const QString& movie);
    /// Adds what a journal beside the movie says to its remains: the movie as it was, unless it is whole, and its
    /// header when none was found yet.
    static void addTo(RecordingRemains& remains, const QString& movie);
    /// Waits until a file is on the storage device. False, with errno set, when the system says that data were lost;
    /// a file system that cannot wait is no loss.
    static bool settle(int fd);

    EditJournal(const EditJournal&) = delete;
    EditJournal& operator=(const EditJournal&) = delete;
    ~EditJournal(); ///< lets go of the journal; the file stays

    /// Keeps a piece of the movie that is about to be written over, once for each offset. What the edit has
    /// appended itself is not kept.
    void keep(int movieFD, std::int64_t offset, std::int64_t length);
    /// Says how the movie ends when the edit is done, just before its info chunk is written: a torn info chunk is
    /// told from a whole one by that. A later call replaces an earlier one.
    void announceEnd(std::int64_t movieLength, const QByteArray& infoPayload);
    /// Puts the movie back as it was before the edit and removes the journal. Reports the failures of writing.
    void undo(int movieFD);
    /// The edit is done: removes the journal.
    void end() noexcept;
    /// Removes the journal if the movie is whole on the storage device.
    void endIfWhole(int movieFD) noexcept;

private:
    explicit EditJournal(const QByteArray& path);

    void _keepPiece(int movieFD, std::int64_t offset, std::int64_t length);
    void _append(char kind, std::int64_t number, const QByteArray& bytes);

    QByteArray m_path;
    int m_fd = -1;
    std::int64_t m_length = 0;
    std::int64_t m_tailStart = 0;
    std::set<std::int64_t> m_kept; // offsets
    MovieEnd m_oldEnd;
    std::optional<MovieEnd> m_newEnd;
};

} // namespace zd
