#pragma once

#include <string>

namespace zd::bench {

/// Where files lie while they are measured: a directory of this process, removed when it ends.
class Place {
public:
    /// The file system of the directory in the environment variable DATAIO_BENCH_DISK, else of the current one.
    static const Place& disk();
    /// The file system in memory: DATAIO_BENCH_MEMORY, else /dev/shm.
    static const Place& memory();

    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place();

    const char* name() const { return m_name; }
    std::string path(const std::string& file) const { return m_directory + "/" + file; }
    /// Whether files there have a storage device behind them.
    bool hasDevice() const { return m_hasDevice; }

private:
    Place(const char* name, const char* variable, const char* otherwise, bool hasDevice);

    const char* m_name;
    const bool m_hasDevice;
    std::string m_directory;
};

/// Puts a file into the state of one recorded earlier: on its device, and in the page cache because it was read.
void settle(const Place& place, const std::string& path);

} // namespace zd::bench
