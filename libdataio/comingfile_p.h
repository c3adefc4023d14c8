#pragma once

#include <QByteArray>

namespace zd {

/// A file that appears under its name only when it is complete: it is written without a name where the file system can do
/// that, else under a hidden one (`.<name>-XXXXXX`), which alone a program that is killed meanwhile leaves behind.
/// Its owner alone can read it.
class ComingFile {
public:
    /// Starts a file that will be called `path`. Without success there is none, and errno says why.
    explicit ComingFile(const QByteArray& path);
    ComingFile(const ComingFile&) = delete;
    ComingFile& operator=(const ComingFile&) = delete;
    ~ComingFile(); ///< closes the file; one that has not appeared is gone

    explicit operator bool() const { return m_fd != -1; }
    int get() const { return m_fd; } ///< -1 without a file

    /// Gives the file that name, in the folder for which it was started. What has the name already is never replaced: false
    /// with errno, which is EEXIST then.
    bool appearAs(const QByteArray& path);

private:
    ComingFile() = default;

    void _openUnnamed(const QByteArray& folder);
    void _openHidden(const QByteArray& path);
    bool _isRenamedTo(const QByteArray& path);
    bool _isCalled(const QByteArray& path) const;

    int m_fd = -1;
    QByteArray m_hidden; // its present name, if any
};

} // namespace zd
