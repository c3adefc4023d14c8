#include <movietools/files/outputfolder.h>

#include <movietools/files/descriptor_p.h>
#include <movietools/files/outputfile.h>
#include <movietools/files/renaming_p.h>
#include <movietools/files/workname_p.h>
#include <movietools/job/joberror.h>

#include <QDir>
#include <QFileInfo>

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

mode_t folderPermissions()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0777 & ~mask;
}

} // namespace

OutputFolder::OutputFolder(const QString& path, bool replace) : m_path(path)
{
    checkTarget(replace);
    const QByteArray parent = QFileInfo(QDir::cleanPath(path)).path().toUtf8();
    sweepWorkNames(parent);
    QByteArray name = workName(parent);
    if (::mkdtemp(name.data()) == nullptr)
        throw systemError(m_path, QStringLiteral("made"), errno);
    m_workPath = QString::fromUtf8(name);
    if (::chmod(name.constData(), folderPermissions()) != 0)
        throw systemError(m_path, QStringLiteral("made"), errno);
}

OutputFolder::~OutputFolder()
{
    if (!m_workPath.isEmpty())
        removeExport(m_workPath.toUtf8());
}

void OutputFolder::checkTarget(bool replace)
{
    const QByteArray target = QDir::cleanPath(m_path).toUtf8();
    if (target.isEmpty() || target.contains('\0'))
        refuse(m_path, QStringLiteral("is no name for a folder"), QStringLiteral("name the output"));
    struct stat status {};
    m_targetExists = ::lstat(target.constData(), &status) == 0;
    if (!m_targetExists && errno != ENOENT)
        throw systemError(m_path, QStringLiteral("written"), errno);
    if (!m_targetExists)
        return;
    if (!S_ISDIR(status.st_mode))
        refuse(m_path, QStringLiteral("is no folder"), QStringLiteral("name another output"));
    if (!replace)
        refuse(m_path, QStringLiteral("exists already"),
               QStringLiteral("name another output, or add --force to replace it"));
    if (!holdsExportAlone(m_path))
        refuse(m_path, QStringLiteral("holds files that no export wrote"),
               QStringLiteral("name another output: these files would be lost"));
}

void OutputFolder::requireRoom(std::uint64_t bytes) const
{
    movietools::requireRoom(m_path, m_workPath, bytes);
}

void OutputFolder::commit()
{
    const QByteArray work = m_workPath.toUtf8();
    const QByteArray target = QDir::cleanPath(m_path).toUtf8();
    if (m_targetExists)
        replaceTarget(work, target);
    else if (!renameToFreeName(work, target))
        throw systemError(m_path, QStringLiteral("named"), errno);
    m_workPath.clear();
}

// The old pictures go only when the new ones are on the storage device.
void OutputFolder::replaceTarget(const QByteArray& work, const QByteArray& target)
{
    const Descriptor folder(Descriptor::openFile(work, O_RDONLY | O_DIRECTORY));
    if (folder.get() < 0 || ::syncfs(folder.get()) != 0)
        throw systemError(m_path, QStringLiteral("written"), errno);
    if (!exchangeNames(work, target))
        throw systemError(m_path, QStringLiteral("named"), errno);
    if (removeExport(work))
        return;
    m_workPath.clear();
    refuse(m_path, QStringLiteral("is the new one, but the old pictures could not all be removed"),
           QStringLiteral("remove the folder %1").arg(QString::fromUtf8(work)));
}

} // namespace zd::movietools
