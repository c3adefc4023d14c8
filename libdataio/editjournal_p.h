#pragma once

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
    /// Starts a journal for the movie open on `movieFD` and keeps everything from `tailStart` to its end.
    /// `newInfo` is the payload of an info chunk that is going to be written over the old one. Null when no file can
    /// be made there: the edit then goes on without. Reports "FDCW_AC_WRITE" when it cannot be written whole.
    static std::unique_ptr<EditJournal> begin(const QString& movie, int movieFD, std::int64_t tailStart,
                                              const std::optional<QByteArray>& newInfo);
    /// Undoes an edit that died; see `ImageWriter::undoInterruptedEdit`. Reports the failures of writing.
    static bool restore(const QString& movie);
    /// Removes a journal left beside a movie that has just been created anew.
    static void discard(const QString& movie);
    /// Adds what a journal beside the movie says to its remains: the movie as it was, unless it is whole, and its
    /// header when none was found yet.
    static void addTo(RecordingRemains& remains, const QString& movie);
    /// Whether an error of `fdatasync` means lost data, not a file system without that call.
    static bool isLoss(int error);

    EditJournal(const EditJournal&) = delete;
    EditJournal& operator=(const EditJournal&) = delete;
    ~EditJournal(); ///< lets go of the journal; the file stays

    /// Keeps a piece of the movie that is about to be written over, once for each offset.
    void keep(int movieFD, std::int64_t offset, std::int64_t length);
    /// The edit is done: removes the journal.
    void end() noexcept;
    /// Removes the journal if the movie is whole.
    void endIfWhole(int movieFD) noexcept;

private:
    EditJournal(const QByteArray& path, int fd);

    void _append(const QByteArray& bytes);
    void _sync();

    QByteArray m_path;
    int m_fd;
    std::int64_t m_length = 0;
    std::set<std::int64_t> m_kept; // offsets
    QByteArray m_newInfoHash;
    QByteArray m_oldInfoHash;
};

} // namespace zd
