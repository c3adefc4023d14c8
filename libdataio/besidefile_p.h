#pragma once

#include <libdataio/systemcalls_p.h>

#include <QByteArray>
#include <QString>

#include <cstdint>

/// Files that stand beside a movie: an edit's journal, a recording's log, rescued frames.
namespace zd {

/// Path of the file beside the movie that a path leads to, symbolic links followed; empty, which no file is, for a
/// path with a null character.
QString besidePath(const QString& movie, const QString& suffix);

/// Whether a file beside `movie` is the library's: a regular file that begins with the whole mark, and that belongs to the
/// caller or to the owner of the movie. Nobody else's is believed, changed or removed. Reports "CHB_LDF_READ".
bool isOurs(int fd, const QByteArray& mark, const QString& movie);
/// Removes the file at `path` beside `movie` if it is the library's; symbolic links are not followed.
void removeBeside(const QByteArray& path, const QByteArray& mark, const QString& movie);
/// Removes the file at `path`, which is open for writing and begins with that mark; when the system refuses, nothing but the
/// mark is left in it. Another file that took its name stays.
void remove(const QByteArray& path, int fd, const QByteArray& mark) noexcept;

/// Length of a file. Reports "CHB_LDF_READ".
std::int64_t lengthOf(int fd);
/// `length` bytes from `offset`, or fewer where the file ends. Reports "CHB_LDF_READ".
QByteArray bytesAt(int fd, std::int64_t offset, std::int64_t length);
/// Writes all the bytes at `offset`; what was moved, and the error that stopped it.
Transfer writeBytesAt(int fd, std::int64_t offset, const QByteArray& bytes);

/// Waits until a file is on the storage device. False, with errno set, when the system says that data were lost;
/// a file system that cannot wait is no loss.
bool settle(int fd);
/// The directory that holds `path`.
QByteArray folderOf(const QByteArray& path);
/// Waits until the directory that holds `path` knows of it on the storage device, where the system can tell.
void syncDirectoryOf(const QByteArray& path);

/// A descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (m_fd != -1)
            systemCalls.close(m_fd);
    }
    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd != -1; }

private:
    int m_fd;
};

} // namespace zd
