#include <libdataio/comingfile_p.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/filelock_p.h>

#include <QRandomGenerator>

#include <cerrno>
#include <optional>

#include <fcntl.h>

namespace zd {

namespace {

constexpr mode_t ownerOnly = 0600;

/// A path that leads to an open file, where the system shows them.
QByteArray pathOfDescriptor(int fd)
{
    return "/proc/self/fd/" + QByteArray::number(fd);
}

bool isTaken(const QByteArray& path)
{
    const Descriptor there(openFile(path.constData(), O_PATH | O_NOFOLLOW, 0));
    return there || errno != ENOENT;
}

} // namespace

// By way of the other constructor: when this one fails, the file is closed all the same.
ComingFile::ComingFile(const QByteArray& path) : ComingFile()
{
    if (path.isEmpty()) {
        errno = ENOENT;
        return;
    }
    _openUnnamed(folderOf(path));
    if (m_fd == -1)
        _openHidden(path);
}

ComingFile::~ComingFile()
{
    if (!m_hidden.isEmpty())
        systemCalls.unlink(m_hidden.constData());
    if (m_fd != -1)
        systemCalls.close(m_fd);
}

void ComingFile::_openUnnamed(const QByteArray& folder)
{
    m_fd = openFile(folder.constData(), O_RDWR | O_TMPFILE, ownerOnly);
    if (m_fd == -1)
        return;
    const std::optional<FileIdentity> file = identityOf(m_fd);
    // It gets its name by way of its descriptor.
    if (file && leadsTo(pathOfDescriptor(m_fd).constData(), *file))
        return;
    systemCalls.close(m_fd);
    m_fd = -1;
}

void ComingFile::_openHidden(const QByteArray& path)
{
    const QByteArray folder = folderOf(path);
    const QByteArray name = path.mid(path.lastIndexOf('/') + 1);
    const quint32 number = QRandomGenerator::global()->generate();
    const QByteArray hidden =
        folder + (folder.endsWith('/') ? "." : "/.") + name + '-' + QByteArray::number(number, 36);
    m_fd = openFile(hidden.constData(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, ownerOnly);
    if (m_fd != -1)
        m_hidden = hidden; // shared, not copied
}

bool ComingFile::appearAs(const QByteArray& path)
{
    const QByteArray from = m_hidden.isEmpty() ? pathOfDescriptor(m_fd) : m_hidden;
    const bool linked = systemCalls.link(from.constData(), path.constData()) == 0 || _isCalled(path);
    if (linked && !m_hidden.isEmpty())
        systemCalls.unlink(m_hidden.constData());
    // Otherwise the file system may know no second names.
    const bool appeared = linked || (errno != EEXIST && !m_hidden.isEmpty() && _isRenamedTo(path));
    if (appeared)
        m_hidden.clear();
    return appeared;
}

bool ComingFile::_isRenamedTo(const QByteArray& path)
{
    if (isTaken(path)) {
        errno = EEXIST;
        return false;
    }
    return systemCalls.rename(m_hidden.constData(), path.constData()) == 0 || _isCalled(path);
}

/// Whether the file has that name although the system said no: a network may have lost the answer. Keeps errno.
bool ComingFile::_isCalled(const QByteArray& path) const
{
    const int error = errno;
    struct stat named {};
    const std::optional<FileIdentity> file = identityOf(m_fd);
    const bool is = systemCalls.stat(path.constData(), &named) == 0 && file == FileIdentity{named.st_dev, named.st_ino};
    errno = error;
    return is;
}

} // namespace zd
