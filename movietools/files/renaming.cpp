#include <movietools/files/renaming_p.h>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

bool renameAs(const QByteArray& from, const QByteArray& to, unsigned how)
{
    return ::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), how) == 0;
}

// What file systems say that do not know how.
bool isUnknown(int error)
{
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

bool exists(const QByteArray& path)
{
    struct stat status {};
    return ::lstat(path.constData(), &status) == 0 || errno != ENOENT;
}

} // namespace

bool renameToFreeName(const QByteArray& from, const QByteArray& to)
{
    if (renameAs(from, to, RENAME_NOREPLACE))
        return true;
    if (!isUnknown(errno))
        return false;
    // A second name never replaces anything; folders and some file systems have none.
    if (::link(from.constData(), to.constData()) == 0)
        return ::unlink(from.constData()) == 0;
    if (errno == EEXIST)
        return false;
    if (exists(to)) {
        errno = EEXIST;
        return false;
    }
    return ::rename(from.constData(), to.constData()) == 0;
}

bool exchangeNames(const QByteArray& a, const QByteArray& b)
{
    if (renameAs(a, b, RENAME_EXCHANGE))
        return true;
    if (!isUnknown(errno))
        return false;
    const QByteArray aside = a + "-old";
    if (!renameToFreeName(b, aside))
        return false;
    if (!renameToFreeName(a, b)) {
        const int error = errno;
        ::rename(aside.constData(), b.constData());
        errno = error;
        return false;
    }
    return renameToFreeName(aside, a);
}

} // namespace zd::movietools
