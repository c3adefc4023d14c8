#pragma once

#include <libdataio/comingfile_p.h>
#include <libdataio/editprotection.h>
#include <libdataio/filelock_p.h>
#include <libdataio/journalcontent_p.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <set>

namespace zd {

class FoundJournal;

/// Keeps the bytes that an edit of a closed movie is about to destroy, in a file beside the movie
/// (`<name>-journal`), until the movie is whole again.
///
/// The journal is on the storage device before it appears, and before the first byte of the movie changes. It is locked
/// while its edit goes on, so that nobody takes a living edit for a dead one.
class EditJournal {
public:
    /// A journal, or why there is none.
    struct Beginning {
        std::unique_ptr<EditJournal> journal;
        EditProtection protection;
    };

    /// Starts a journal for the movie open on `movieFD` and keeps everything from `tailStart` to its end. Reports
    /// "FDCW_AC_WRITE" when it cannot be written whole.
    static Beginning begin(const QString& movie, int movieFD, std::int64_t tailStart);
    /// What would protect an edit of a movie. Nothing is changed.
    static EditProtection protectionOf(const QString& movie);
    /// Undoes the edit that has left a torn movie, open on `movieFD`, and removes a journal that has done its work. True
    /// when the movie was changed; see `ImageWriter::undoInterruptedEdit`. Reports the failures of writing.
    static bool restore(const FoundJournal& found, const QString& movie, int movieFD);
    /// Removes a journal left beside a movie that has just been created anew.
    static void discard(const QString& movie);

    EditJournal(const EditJournal&) = delete;
    EditJournal& operator=(const EditJournal&) = delete;
    ~EditJournal() = default; ///< lets go of the journal; the file stays

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
    explicit EditJournal(const QByteArray& path) : m_path(path), m_file(path) {}

    void _begin(int movieFD, std::int64_t tailStart);
    void _keepPiece(int movieFD, std::int64_t offset, std::int64_t length);
    void _append(JournalRecord::Kind kind, std::int64_t number, const QByteArray& bytes);

    const QByteArray m_path;
    ComingFile m_file;
    FileLock m_lock;
    std::int64_t m_length = 0;
    std::int64_t m_tailStart = 0;
    std::set<std::int64_t> m_kept; // offsets
};

} // namespace zd
