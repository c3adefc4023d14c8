#pragma once

#include <QDir>
#include <QString>

#include <stdexcept>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace zd::test {

/// An open file, closed at the end of its life unless it was handed over.
class Descriptor {
public:
    Descriptor(const QString& path, int flags) : m_fd(::open(path.toUtf8().constData(), flags, 0600))
    {
        if (m_fd == -1)
            throw std::runtime_error("cannot open " + path.toStdString());
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (m_fd != -1)
            ::close(m_fd);
    }

    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); } ///< the caller's from now on

    off_t position() const { return ::lseek(m_fd, 0, SEEK_CUR); }
    void seek(off_t position) const { ::lseek(m_fd, position, SEEK_SET); }
    /// Writes bytes anywhere; what lies before them is a hole.
    void put(off_t position, const std::string& bytes) const
    {
        if (::pwrite(m_fd, bytes.data(), bytes.size(), position) != static_cast<ssize_t>(bytes.size()))
            throw std::runtime_error("cannot write");
    }

private:
    int m_fd;
};

inline bool isOpen(int fd)
{
    return ::fcntl(fd, F_GETFD) != -1;
}

/// How many descriptors the process holds.
inline int openDescriptors()
{
    return static_cast<int>(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size());
}

/// A file without a disk behind it, for tests that write thousands of movies.
class MemoryFile {
public:
    MemoryFile() : m_fd(memfd_create("movie", MFD_CLOEXEC))
    {
        if (m_fd < 0)
            throw std::runtime_error("cannot make a file in memory");
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { close(m_fd); }

    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(m_fd); }

    void write(const std::string& bytes) const
    {
        const auto size = static_cast<ssize_t>(bytes.size());
        if (pwrite(m_fd, bytes.data(), bytes.size(), 0) != size || ftruncate(m_fd, size) != 0)
            throw std::runtime_error("cannot write a file in memory");
    }

private:
    int m_fd;
};

} // namespace zd::test
