#include <movietools/recover/movieend_p.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/files/descriptor_p.h>
#include <movietools/job/joberror.h>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

/// The movie's file, open for writing.
class MovieFile {
public:
    explicit MovieFile(const QString& path) : m_path(path), m_file(openAgain(path)) { require(m_file.get() >= 0); }

    void write(std::int64_t offset, const QByteArray& bytes) const { require(tryWrite(offset, bytes)); }
    void cut(std::int64_t length) const { require(tryCut(length)); }

    // Some file systems cannot tell that bytes are on the disk.
    void settle() const { require(::fsync(m_file.get()) == 0 || (errno != EIO && errno != ENOSPC && errno != EDQUOT)); }

    bool tryWrite(std::int64_t offset, const QByteArray& bytes) const
    {
        return ::lseek(m_file.get(), offset, SEEK_SET) == offset &&
               m_file.write(bytes.constData(), static_cast<std::size_t>(bytes.size()));
    }

    bool tryCut(std::int64_t length) const { return TEMP_FAILURE_RETRY(::ftruncate(m_file.get(), length)) == 0; }

private:
    static int openAgain(const QString& path)
    {
        return static_cast<int>(TEMP_FAILURE_RETRY(::open(path.toUtf8().constData(), O_RDWR | O_CLOEXEC)));
    }

    void require(bool done) const
    {
        if (!done)
            throw systemError(m_path, QStringLiteral("changed"), errno);
    }

    const QString& m_path;
    Descriptor m_file;
};

} // namespace

void replaceMovieEnd(const QString& path, const ByteSource& movie, const MovieEnd& end, const MovieEnd& spare)
{
    if (spare.offset + spare.bytes.size() > static_cast<std::int64_t>(layout::largestSizeLimit))
        refuse(path, QStringLiteral("is too long to be changed in place"),
               QStringLiteral("recover it into a new file"));
    const QByteArray old =
        movie.bytes(end.offset, std::min<std::int64_t>(end.bytes.size(), movie.length() - end.offset));
    const MovieFile file(path);
    try {
        file.write(spare.offset, spare.bytes);
        file.settle();
        file.write(end.offset, end.bytes);
        file.settle();
        file.cut(end.offset + end.bytes.size());
    } catch (...) {
        if (file.tryWrite(end.offset, old))
            file.tryCut(movie.length());
        throw;
    }
    file.settle();
}

} // namespace zd::movietools
