#include <movietools/files/descriptor_p.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace zd::movietools {

int Descriptor::openFile(const QByteArray& path, int flags, unsigned mode)
{
    for (;;) {
        const int fd = ::open(path.constData(), flags | O_CLOEXEC, mode);
        if (fd >= 0 || errno != EINTR)
            return fd;
    }
}

bool Descriptor::writeTo(int fd, const void* data, std::size_t size)
{
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t done = ::write(fd, next, size);
        if (done < 0 && errno == EINTR)
            continue;
        if (done < 0)
            return false;
        next += done;
        size -= static_cast<std::size_t>(done);
    }
    return true;
}

std::int64_t Descriptor::readAt(std::int64_t offset, char* buffer, std::int64_t size) const
{
    std::int64_t got = 0;
    while (got < size) {
        const ssize_t part = ::pread(m_fd, buffer + got, static_cast<std::size_t>(size - got), offset + got);
        if (part < 0 && errno == EINTR)
            continue;
        if (part < 0)
            return -1;
        if (part == 0)
            break;
        got += part;
    }
    return got;
}

bool Descriptor::close()
{
    const int fd = std::exchange(m_fd, -1);
    return fd < 0 || ::close(fd) == 0;
}

} // namespace zd::movietools
