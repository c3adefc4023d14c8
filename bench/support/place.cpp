#include <bench/support/place.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace zd::bench {

const Place& Place::disk()
{
    static const Place place("disk", "DATAIO_BENCH_DISK", ".", true);
    return place;
}

const Place& Place::memory()
{
    static const Place place("tmpfs", "DATAIO_BENCH_MEMORY", "/dev/shm", false);
    return place;
}

Place::Place(const char* name, const char* variable, const char* otherwise, bool hasDevice)
    : m_name(name), m_hasDevice(hasDevice)
{
    const char* given = std::getenv(variable);
    m_directory = std::string(given != nullptr ? given : otherwise) + "/dataio-bench-XXXXXX";
    if (::mkdtemp(m_directory.data()) == nullptr)
        throw std::runtime_error("cannot create " + m_directory);
}

Place::~Place()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

void settle(const Place& place, const std::string& path)
{
    if (!place.hasDevice())
        return;
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd == -1 || ::fsync(fd) == -1 || ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED) != 0)
        throw std::runtime_error("cannot settle " + path);
    std::vector<char> buffer(1 << 20);
    while (::read(fd, buffer.data(), buffer.size()) > 0) {
    }
    ::close(fd);
}

} // namespace zd::bench
