#include <movietools/files/outputfile.h>

#include <movietools/files/descriptor_p.h>
#include <movietools/files/renaming_p.h>
#include <movietools/files/sameowner_p.h>
#include <movietools/files/workname_p.h>
#include <movietools/job/joberror.h>
#include <movietools/job/wording.h>

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

unsigned processMask()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

QString withoutLinks(const QString& path)
{
    const QFileInfo target(path);
    if (!target.isSymLink())
        return path;
    return target.exists() ? target.canonicalFilePath() : target.symLinkTarget();
}

// Whether `path` names the file that `target` describes.
bool isSameFile(const QString& path, const struct stat& target)
{
    struct stat status {};
    return ::stat(path.toUtf8().constData(), &status) == 0 && status.st_dev == target.st_dev &&
           status.st_ino == target.st_ino;
}

} // namespace

void requireRoom(const QString& path, const QString& place, std::uint64_t bytes)
{
    struct statvfs fileSystem {};
    if (::statvfs(place.toUtf8().constData(), &fileSystem) != 0)
        return;
    const std::uint64_t room = std::uint64_t{fileSystem.f_bavail} * fileSystem.f_frsize;
    if (room < bytes)
        refuse(path, QStringLiteral("needs %1, and the disk has %2 left").arg(sizeText(bytes), sizeText(room)),
               QStringLiteral("free some space or write elsewhere"));
}

void requireSettled(const QString& path, bool areAllSettled)
{
    if (!areAllSettled)
        refuse(path, QStringLiteral("is complete, but the file that it replaced stays beside it under a hidden name"),
               QStringLiteral("remove the file .vqf-..., which the next such job does as well"));
}

OutputFile::OutputFile(const QString& path, Existing existing, const QStringList& inputs, unsigned permissions,
                       Work work)
    : m_path(path)
{
    if (isStandardOutput(path)) {
        m_isStandardOutput = true;
        m_folder = QDir::tempPath().toUtf8();
        openWorkFile(S_IRUSR | S_IWUSR, work);
        if (!m_temporary.isEmpty() && isReachedByDescriptor()) { // then it needs no name
            ::unlink(m_temporary.constData());
            m_temporary.clear();
        }
        return;
    }
    const QString followed = withoutLinks(path);
    m_target = followed.toUtf8();
    m_folder = QFileInfo(followed).path().toUtf8();
    checkTarget(existing, inputs);
    openWorkFile(permissions, work);
}

OutputFile::~OutputFile()
{
    if (m_isPlaced)
        takeBack();
    if (m_fd >= 0)
        ::close(m_fd);
    if (!m_temporary.isEmpty())
        ::unlink(m_temporary.constData());
}

bool OutputFile::isStandardOutput(const QString& path)
{
    return path == QLatin1StringView("-");
}

void OutputFile::checkTarget(Existing existing, const QStringList& inputs)
{
    if (m_target.isEmpty() || m_target.contains('\0'))
        refuse(m_path, QStringLiteral("is no name for a file"), QStringLiteral("name the output"));
    struct stat status {};
    if (::stat(m_target.constData(), &status) != 0) {
        if (errno != ENOENT)
            throw systemError(m_path, QStringLiteral("written"), errno);
        return;
    }
    m_targetExists = true;
    for (const QString& input : inputs) {
        if (isSameFile(input, status))
            refuse(m_path, QStringLiteral("is the input itself"), QStringLiteral("name another output"));
    }
    if (!S_ISREG(status.st_mode))
        refuse(m_path, QStringLiteral("is not a regular file"), QStringLiteral("name another output"));
    if (existing == Existing::Refuse)
        refuse(m_path, QStringLiteral("exists already"),
               QStringLiteral("name another output, or add --force to replace it"));
}

void OutputFile::openWorkFile(unsigned permissions, Work work)
{
    if (work == Work::Named || !openUnnamed())
        openNamed();
    if (!m_targetExists && ::fchmod(m_fd, permissions & ~processMask()) != 0)
        throw systemError(m_path, QStringLiteral("written"), errno);
}

// False where the file system has no files without a name, or no way to open them a second time.
bool OutputFile::openUnnamed()
{
    m_fd = Descriptor::openFile(m_folder, O_TMPFILE | O_RDWR, S_IRUSR | S_IWUSR);
    if (m_fd < 0)
        return false;
    if (isReachedByDescriptor())
        return true;
    ::close(m_fd);
    m_fd = -1;
    return false;
}

// Whether the system lets the file be opened a second time by its descriptor; that is the work path then.
bool OutputFile::isReachedByDescriptor()
{
    const QString path = QStringLiteral("/proc/self/fd/%1").arg(m_fd);
    if (::access(path.toUtf8().constData(), R_OK | W_OK) != 0)
        return false;
    m_workPath = path;
    return true;
}

void OutputFile::openNamed()
{
    sweepWorkNames(m_folder);
    QByteArray name = workName(m_folder);
    m_fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (m_fd < 0)
        throw systemError(m_path, QStringLiteral("written"), errno);
    m_temporary = name;
    m_workPath = QString::fromUtf8(name);
}

void OutputFile::requireRoom(std::uint64_t bytes) const
{
    movietools::requireRoom(m_path, m_workPath, bytes);
}

void OutputFile::commit()
{
    if (m_isStandardOutput) {
        sendToStandardOutput();
        return;
    }
    if (m_targetExists)
        keepTarget();
    if (m_temporary.isEmpty())
        nameUnnamedFile();
    else
        takeTarget(m_temporary);
    m_temporary.clear();
}

void OutputFile::place()
{
    if (m_isStandardOutput || !m_targetExists) {
        commit();
        m_isPlaced = !m_isStandardOutput;
        return;
    }
    keepTarget();
    if (m_temporary.isEmpty())
        nameTemporarily();
    if (!exchangeNames(m_temporary, m_target))
        throw systemError(m_path, QStringLiteral("named"), errno);
    m_isPlaced = true;
}

bool OutputFile::settle() noexcept
{
    if (!std::exchange(m_isPlaced, false) || !m_targetExists)
        return true;
    const bool isRemoved = ::unlink(m_temporary.constData()) == 0;
    m_temporary.clear();
    return isRemoved;
}

void OutputFile::takeBack() noexcept
{
    if (!m_targetExists)
        ::unlink(m_target.constData());
    else
        exchangeNames(m_temporary, m_target);
}

// The old file goes only when the new one is on the storage device.
void OutputFile::keepTarget()
{
    keepOwnerAndRights(m_fd, m_target, m_path);
    if (::fdatasync(m_fd) != 0)
        throw systemError(m_path, QStringLiteral("written"), errno);
}

void OutputFile::sendToStandardOutput() const
{
    std::vector<char> block(std::size_t{1} << 20);
    struct stat status {};
    if (::fstat(m_fd, &status) != 0)
        throw systemError(m_path, QStringLiteral("read back"), errno);
    for (off_t offset = 0; offset < status.st_size;) {
        const ssize_t got = ::pread(m_fd, block.data(), block.size(), offset);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            throw systemError(m_path, QStringLiteral("read back"), got < 0 ? errno : EIO);
        if (!Descriptor::writeTo(STDOUT_FILENO, block.data(), static_cast<std::size_t>(got)))
            throw systemError(m_path, QStringLiteral("written"), errno);
        offset += got;
    }
}

void OutputFile::nameUnnamedFile()
{
    const QByteArray work = m_workPath.toUtf8();
    if (::linkat(AT_FDCWD, work.constData(), AT_FDCWD, m_target.constData(), AT_SYMLINK_FOLLOW) == 0)
        return;
    if (errno != EEXIST || !m_targetExists)
        throw systemError(m_path, QStringLiteral("named"), errno);

    // A link never replaces a file, a renamed one does.
    nameTemporarily();
    takeTarget(m_temporary);
}

// The unused name comes from a file made for it.
void OutputFile::nameTemporarily()
{
    sweepWorkNames(m_folder);
    QByteArray name = workName(m_folder);
    const int placeholder = ::mkostemp(name.data(), O_CLOEXEC);
    if (placeholder < 0)
        throw systemError(m_path, QStringLiteral("named"), errno);
    ::close(placeholder);
    ::unlink(name.constData());
    if (::linkat(AT_FDCWD, m_workPath.toUtf8().constData(), AT_FDCWD, name.constData(), AT_SYMLINK_FOLLOW) != 0)
        throw systemError(m_path, QStringLiteral("named"), errno);
    m_temporary = name;
}

void OutputFile::takeTarget(const QByteArray& from)
{
    const bool isNamed =
        m_targetExists ? ::rename(from.constData(), m_target.constData()) == 0 : renameToFreeName(from, m_target);
    if (!isNamed)
        throw systemError(m_path, QStringLiteral("named"), errno);
}

} // namespace zd::movietools
