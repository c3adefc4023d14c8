#pragma once

#include <fuzz/targets.h>

#include <QString>

#include <string>

namespace zd::fuzz {

/// A file in a directory of its own, removed when the process ends as usual. Synchronisation is turned off: nobody cuts
/// the power.
class MovieFile {
public:
    static MovieFile& instance();
    MovieFile(const MovieFile&) = delete;
    MovieFile& operator=(const MovieFile&) = delete;

    const QString& path() const { return m_path; }
    /// Replaces the file, and removes everything beside it.
    void write(Input content);
    /// Adds a file beside it: `suffix` continues its name.
    void writeBeside(const char* suffix, Input content);
    void remove();
    std::string read(const char* suffix = "") const;

private:
    MovieFile();
    ~MovieFile();

    std::string m_directory;
    QString m_path;
};

} // namespace zd::fuzz
