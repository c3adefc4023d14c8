#pragma once

#include <QString>
#include <QTemporaryFile>

#include <memory>

class QIODevice;

namespace zd::desktop {

/// A path under which the content of a device can be opened.
class MovieFile {
public:
    /// Of an open file the file itself, whatever became of its name. The content of other devices, from where they
    /// stand, is copied into a temporary file, up to 128 MiB. Empty when that cannot be done. Valid while the device is
    /// open, this object lives and `path` is not called again.
    QString path(QIODevice& device);

private:
    bool _copy(QIODevice& device);

    std::unique_ptr<QTemporaryFile> m_copy;
};

} // namespace zd::desktop
