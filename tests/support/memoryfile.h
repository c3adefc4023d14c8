#pragma once

#include <QString>

#include <stdexcept>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

namespace zd::test {

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
