#include <movietools/files/workname_p.h>

#include <movietools/files/folderentries.h>
#include <movietools/job/joberror.h>

#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <sys/stat.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

/// The system on which a process's number tells whether it lives: this machine since it was started, as seen from this
/// set of processes.
const QByteArray& systemOfProcesses()
{
    static const QByteArray system = [] {
        QFile boot(QStringLiteral("/proc/sys/kernel/random/boot_id"));
        const QByteArray id = boot.open(QIODevice::ReadOnly) ? boot.readAll() : QByteArray();
        struct stat processes {};
        const bool known = !id.isEmpty() && ::stat("/proc/self/ns/pid", &processes) == 0;
        return known ? QByteArray::number(qHash(id, static_cast<std::size_t>(processes.st_ino)), 16) : QByteArray("0");
    }();
    return system;
}

/// The process at work under a name; 0 when that is none of this system's.
pid_t processOf(const QString& name)
{
    static const QRegularExpression form(QStringLiteral("^\\.vqf-([0-9a-f]+)-([0-9]{1,9})-[A-Za-z0-9]{6}(-old)?$"));
    const QRegularExpressionMatch match = form.match(name);
    const bool isHere =
        match.hasMatch() && systemOfProcesses() != "0" && match.captured(1).toLatin1() == systemOfProcesses();
    return isHere ? static_cast<pid_t>(match.captured(2).toLong()) : 0;
}

bool isDead(pid_t process)
{
    return process > 0 && ::kill(process, 0) != 0 && errno == ESRCH;
}

bool isExportName(const QString& name)
{
    static const QRegularExpression names(QStringLiteral("^(frame-\\d+\\.(png|tif)|movie\\.json)$"));
    return names.match(name).hasMatch();
}

bool isOurs(const QByteArray& path, bool& isFolder)
{
    struct stat status {};
    if (::lstat(path.constData(), &status) != 0 || status.st_uid != ::geteuid())
        return false;
    isFolder = S_ISDIR(status.st_mode);
    return isFolder || S_ISREG(status.st_mode);
}

} // namespace

QByteArray workName(const QByteArray& folder)
{
    return folder + "/.vqf-" + systemOfProcesses() + '-' + QByteArray::number(::getpid()) + "-XXXXXX";
}

void sweepWorkNames(const QByteArray& folder) noexcept
{
    try {
        for (const QString& name : folderEntries(QFile::decodeName(folder))) {
            const QByteArray path = folder + '/' + name.toUtf8();
            bool isFolder = false;
            if (!isDead(processOf(name)) || !isOurs(path, isFolder))
                continue;
            if (isFolder && holdsExportAlone(QFile::decodeName(path)))
                removeExport(path);
            else if (!isFolder)
                ::unlink(path.constData());
        }
    } catch (...) {
        // It is there for the next job to sweep.
    }
}

bool holdsExportAlone(const QString& folder)
{
    const QStringList names = folderEntries(folder);
    return std::all_of(names.begin(), names.end(), isExportName);
}

bool removeExport(const QByteArray& folder)
{
    try {
        for (const QString& name : folderEntries(QFile::decodeName(folder)))
            if (isExportName(name) && ::unlink((folder + '/' + name.toUtf8()).constData()) != 0)
                return false;
    } catch (const JobError&) {
        return false;
    }
    return ::rmdir(folder.constData()) == 0;
}

} // namespace zd::movietools
