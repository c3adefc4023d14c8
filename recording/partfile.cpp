#include <recording/partfile_p.h>

#include <QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace zd::recording {

namespace {

constexpr off_t reserveBytes = 64 << 20;
constexpr unsigned long leastRoom = 16; // times the reserve

/// A descriptor that is closed at the end.
class OpenFile {
public:
    OpenFile(const QString& path, int flags) : m_fd(::open(path.toUtf8().constData(), flags | O_CLOEXEC, 0600)) {}
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile()
    {
        if (m_fd != -1)
            ::close(m_fd);
    }
    int get() const { return m_fd; }

private:
    const int m_fd;
};

} // namespace

int claimFile(const QString& path)
{
    if (path.contains(QChar::Null))
        return EINVAL;
    const OpenFile file(path, O_WRONLY | O_CREAT | O_EXCL);
    return file.get() == -1 ? errno : 0;
}

bool reserveAhead(const QString& path)
{
    const OpenFile file(path, O_WRONLY);
    struct statfs system {};
    if (file.get() == -1 || fstatfs(file.get(), &system) == -1 || system.f_type == TMPFS_MAGIC || system.f_bsize <= 0 ||
        system.f_bavail < leastRoom * reserveBytes / static_cast<unsigned long>(system.f_bsize))
        return false;
    return fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, reserveBytes) == 0;
}

void giveReserveBack(const QString& path)
{
    const OpenFile file(path, O_WRONLY);
    struct stat status {};
    if (file.get() != -1 && fstat(file.get(), &status) == 0 && status.st_size < reserveBytes &&
        ftruncate(file.get(), status.st_size) == -1)
        return; // the room stays with the file, which is whole
}

bool synchronise(const QString& path)
{
    const OpenFile file(path, O_RDONLY);
    const OpenFile folder(QFileInfo(path).absolutePath(), O_RDONLY | O_DIRECTORY);
    if (file.get() == -1 || fsync(file.get()) == -1)
        return false;
    if (folder.get() != -1)
        fsync(folder.get()); // best effort, as for a movie
    return true;
}

} // namespace zd::recording
