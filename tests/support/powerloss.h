#pragma once

#include <libdataio/systemcalls_p.h>

#include <QString>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace zd::test {

/// Records what the library does to the files of one directory while it lives, so that the disk can be rebuilt as
/// a power failure may leave it: what was synchronised is there, of the rest any part is missing. One at a time, used
/// by one thread.
class PowerLoss {
public:
    /// `directory` is watched, with the files that it holds now.
    explicit PowerLoss(const QString& directory);
    PowerLoss(const PowerLoss&) = delete;
    PowerLoss& operator=(const PowerLoss&) = delete;
    ~PowerLoss() { stop(); }
    /// Ends the recording.
    void stop();

    /// Changes of files and of the directory so far.
    std::size_t changes() const { return m_changes.size(); }
    /// Those of the first `count` changes that a failure right after them may take back. More than there are: those
    /// that a failure may take back when all has returned.
    std::vector<std::size_t> unsettled(std::size_t count) const;
    /// Losses to try after the first `count` changes: none, all that may be, and each of these alone.
    std::vector<std::vector<std::size_t>> losses(std::size_t count) const;
    /// The files after the first `count` changes but those in `lost`, by name.
    std::map<std::string, std::string> disk(std::size_t count, const std::vector<std::size_t>& lost) const;

    // What the stand-ins for the system calls tell.
    void opened(const char* path, int flags, int fd);
    void duplicated(int fd, int copy);
    void written(int fd, std::size_t offset, const std::string& bytes);
    void truncated(int fd, std::size_t length);
    void linked(const char* from, const char* to);
    void unlinked(const char* path);
    void synchronised(int fd);
    void closed(int fd) { m_descriptors.erase(fd); }
    const SystemCalls& system() const { return m_system; }

private:
    enum class Kind {
        Create,
        Unlink,
        Write,
        Truncate,
    };
    static constexpr std::size_t never = ~std::size_t{0};
    static constexpr int directoryFile = -1;

    struct Change {
        Kind kind;
        int file; ///< number of the file, never used again
        std::string name;
        std::size_t place;
        std::string bytes;
        std::size_t settledAfter = never; ///< the number of changes when it was synchronised
    };

    std::string _nameOf(const char* path) const;

    const std::string m_directory;
    const SystemCalls m_system;
    std::map<std::string, int> m_names;
    std::map<int, std::string> m_initial; ///< content by number of the file
    std::map<std::string, int> m_initialNames;
    std::map<int, int> m_descriptors; ///< number of the file by descriptor
    std::vector<Change> m_changes;
    int m_nextFile = 0;
};

} // namespace zd::test
