#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>

namespace zd::movietools {

/// Permissions of new movies: they are their owner's alone.
inline constexpr unsigned moviePermissions = 0600;

/// Throws JobError about `path` when the file system of the existing file or folder `place` has less than `bytes` left.
void requireRoom(const QString& path, const QString& place, std::uint64_t bytes);

/// Throws JobError about an output that is complete, when files that were replaced with it could not all be removed.
void requireSettled(const QString& path, bool areAllSettled);

/// A file that appears under its name only when it is complete.
///
/// It is written beside its target: without a name where the file system can do that, so that even a killed
/// program leaves nothing behind, else under a hidden temporary name (".vqf-...", which the next job that makes such a
/// name removes when the process is dead). `commit` gives it its name; without that, the destructor removes it. Never
/// copied.
///
/// The path "-" stands for standard output: the file is made in the folder for temporary files, and `commit` sends it.
class OutputFile {
public:
    enum class Existing {
        Refuse, ///< a file that exists is an error, also when it appears while this one is written
        /// A regular file that exists is replaced by `commit`: the new one gets its owner, permissions and extended
        /// attributes. Other names of the old one (hard links) keep the old one.
        Replace,
    };
    enum class Work {
        Unnamed, ///< without a name where the file system can
        Named,   ///< always under a temporary name
    };

    /// Starts a file that will be called `path`; one that is made new gets `permissions` less the process's
    /// mask. A target that is none of `inputs`, no folder and no device, in a folder that can be written, is
    /// required. Throws JobError.
    OutputFile(const QString& path, Existing existing, const QStringList& inputs, unsigned permissions = 0666,
               Work work = Work::Unnamed);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    static bool isStandardOutput(const QString& path);

    const QString& path() const { return m_path; }         ///< as the caller named it
    const QString& workPath() const { return m_workPath; } ///< where to write until `commit`; the file is there, empty

    /// Throws JobError when the file system has less than `bytes` left.
    void requireRoom(std::uint64_t bytes) const;

    /// Gives the file its name. Nobody may have it open for writing any more. Throws JobError. Ends the process by
    /// SIGPIPE when nobody reads standard output any more, unless that signal is ignored.
    void commit();
    /// The first half of `commit`, for outputs that belong together: the file has its name, and without `settle` the
    /// destructor takes it back and puts a file that it replaced in its place again. Throws JobError.
    void place();
    /// The second half: what was replaced goes. False when it stays, under a hidden name; see `requireSettled`.
    [[nodiscard]] bool settle() noexcept;

private:
    void checkTarget(Existing existing, const QStringList& inputs);
    void openWorkFile(unsigned permissions, Work work);
    bool openUnnamed();
    bool isReachedByDescriptor();
    void openNamed();
    void nameUnnamedFile();
    void sendToStandardOutput() const;
    void nameTemporarily();
    void keepTarget();
    void takeTarget(const QByteArray& from);
    void takeBack() noexcept;

    QString m_path;
    QByteArray m_target; // m_path with symbolic links followed
    QByteArray m_folder;
    QString m_workPath;
    QByteArray m_temporary; // name of the work file, empty while it has none
    int m_fd = -1;
    bool m_isStandardOutput = false;
    bool m_targetExists = false;
    bool m_isPlaced = false; // and not settled; a file that was replaced has the temporary name
};

} // namespace zd::movietools
