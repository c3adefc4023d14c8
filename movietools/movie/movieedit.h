#pragma once

#include <libdataio/attributechunk.h>
#include <libdataio/imagewriter.h>
#include <libdataio/movielock.h>

#include <QString>

#include <functional>
#include <optional>

namespace zd {
class ImageReader;
}

/// Changes of closed movies, in place: a crash leaves the old movie or the new one. One program at a time: a movie that
/// another one records or changes is refused. All throw JobError.
namespace zd::movietools {

/// What to do with a movie beside which no journal can be made, so that a crash could leave neither the old nor the new.
enum class WithoutJournal : int {
    Refuse,
    GoOn
};

/// Locks a movie for a job that changes or replaces it.
MovieLock lockMovie(const QString& path);

/// A movie for changes: locked from the beginning, so that it stays as the job has seen it. Without `commit` it is put
/// back as it was.
class MovieEdit {
public:
    /// Locks the movie; an edit of it that died is undone. Nothing else is changed.
    explicit MovieEdit(const QString& path, WithoutJournal withoutJournal = WithoutJournal::Refuse);
    MovieEdit(const MovieEdit&) = delete;
    MovieEdit& operator=(const MovieEdit&) = delete;
    ~MovieEdit();

    /// Opens the movie for changes.
    void begin();
    ImageWriter& writer() { return m_writer; } ///< for changes once the edit has begun
    /// Closes the movie with its changes.
    void commit();

    /// Stores another header, instead of `begin` and `commit`.
    void storeHeader(const AttributeChunk& header);

private:
    void requireJournal(EditProtection protection) const;

    QString m_path;
    WithoutJournal m_withoutJournal;
    std::optional<MovieLock> m_lock; // once the movie is open the writer has it
    ImageWriter m_writer;
};

/// Opens a movie for reading. Throws JobError, also when it has times or laser powers that cannot
/// be read.
void openMovie(ImageReader& movie, const QString& path);

/// The same for jobs that need neither. Throws JobError.
void openHeader(ImageReader& movie, const QString& path);
/// Throws JobError when the index lists fibre centres and they were not read.
void requireFibers(const ImageReader& movie, const QString& path, bool wereRead);

/// The header of a movie.
AttributeChunk readHeader(const QString& path);
/// Hands the header of a movie to `change` and stores what that leaves, unless it is the same.
void changeHeader(const QString& path, WithoutJournal withoutJournal,
                  const std::function<void(AttributeChunk&)>& change);

/// Copies the header of one movie into another. Without `withFrameDescription` the other keeps what describes its
/// own frames: size, type and byte order.
void copyHeader(const QString& from, const QString& to, bool withFrameDescription,
                WithoutJournal withoutJournal = WithoutJournal::Refuse);

/// Makes frame `first` the first of the movie's first `circularSize` frames, or of all of them without that.
void putFrameFirst(const QString& path, unsigned first, const std::optional<unsigned>& circularSize,
                   WithoutJournal withoutJournal = WithoutJournal::Refuse);

} // namespace zd::movietools
