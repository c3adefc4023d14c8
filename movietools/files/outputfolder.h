#pragma once

#include <QString>

namespace zd::movietools {

/// A folder of files that appears under its name only when it is complete.
///
/// It is filled beside its target under a hidden name; without `commit` the destructor removes it. What a killed process
/// left under such a name, the next one removes. Never copied.
class OutputFolder {
public:
    /// Starts a folder that will be called `path`. One that exists is an error; with `replace` it may exist if it
    /// holds nothing but what an export wrote: pictures named "frame-..." and "movie.json". Throws JobError.
    OutputFolder(const QString& path, bool replace);
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;
    ~OutputFolder();

    const QString& path() const { return m_path; }         ///< as the caller named it
    const QString& workPath() const { return m_workPath; } ///< the folder to fill until `commit`
    /// Throws JobError when the file system has less than `bytes` left.
    void requireRoom(std::uint64_t bytes) const;
    /// Gives the folder its name and removes the one that it replaces. Throws JobError.
    void commit();

private:
    void checkTarget(bool replace);
    void replaceTarget(const QByteArray& work, const QByteArray& target);

    QString m_path;
    QString m_workPath;
    bool m_targetExists = false;
};

} // namespace zd::movietools
