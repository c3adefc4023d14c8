#include <movietools/files/outputfolder.h>

#include <movietools/files/outputfile.h>
#include <movietools/job/joberror.h>

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

// What was exported before, and nothing of anybody else's.
bool isExported(const QString& folder)
{
    static const QRegularExpression names(QStringLiteral("^(frame-\\d+\\.(png|tif)|movie\\.json)$"));
    const QStringList entries =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    return std::all_of(entries.begin(), entries.end(),
                       [](const QString& name) { return names.match(name).hasMatch(); });
}

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
    QByteArray name = (QFileInfo(QDir::cleanPath(path)).path() + QStringLiteral("/.vqf-XXXXXX")).toUtf8();
    if (::mkdtemp(name.data()) == nullptr)
        throw systemError(m_path, QStringLiteral("made"), errno);
    m_workPath = QString::fromUtf8(name);
    ::chmod(name.constData(), folderPermissions());
}

OutputFolder::~OutputFolder()
{
    if (!m_workPath.isEmpty())
        QDir(m_workPath).removeRecursively();
}

void OutputFolder::checkTarget(bool replace)
{
    const QFileInfo target(m_path);
    if (QDir::cleanPath(m_path).isEmpty() || m_path.contains(QChar(0)))
        refuse(m_path, QStringLiteral("is no name for a folder"), QStringLiteral("name the output"));
    m_targetExists = target.exists() || target.isSymLink();
    if (!m_targetExists)
        return;
    if (!target.isDir() || target.isSymLink())
        refuse(m_path, QStringLiteral("is no folder"), QStringLiteral("name another output"));
    if (!replace)
        refuse(m_path, QStringLiteral("exists already"),
               QStringLiteral("name another output, or add --force to replace it"));
    if (!isExported(m_path))
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
    const unsigned how = m_targetExists ? RENAME_EXCHANGE : RENAME_NOREPLACE;
    if (::renameat2(AT_FDCWD, work.constData(), AT_FDCWD, target.constData(), how) != 0)
        throw systemError(m_path, QStringLiteral("named"), errno);
    if (!m_targetExists)
        m_workPath.clear(); // else it is now the old folder's name
}

} // namespace zd::movietools
