#pragma once

#include <libdataio/attributechunk.h>
#include <libdataio/imagewriter.h>

#include <QString>

#include <functional>
#include <optional>

namespace zd {
class ImageReader;
}

/// Changes of closed movies, in place: a crash leaves the old movie or the new one. All throw JobError.
namespace zd::movietools {

/// A movie that is open for changes. Without `commit` it is put back as it was.
class MovieEdit {
public:
    explicit MovieEdit(const QString& path);
    MovieEdit(const MovieEdit&) = delete;
    MovieEdit& operator=(const MovieEdit&) = delete;
    ~MovieEdit();

    ImageWriter& writer() { return m_writer; }
    /// Closes the movie with its changes.
    void commit();

private:
    QString m_path;
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
void changeHeader(const QString& path, const std::function<void(AttributeChunk&)>& change);

/// Copies the header of one movie into another. Without `withFrameDescription` the other keeps what describes its
/// own frames: size, type and byte order.
void copyHeader(const QString& from, const QString& to, bool withFrameDescription);

/// Makes frame `first` the first of the movie's first `circularSize` frames, or of all of them without that.
void putFrameFirst(const QString& path, unsigned first, const std::optional<unsigned>& circularSize);

} // namespace zd::movietools
