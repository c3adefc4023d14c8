#include <movietools/files/sameowner_p.h>

#include <movietools/job/joberror.h>

#include <QList>

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

/// What the library keeps there of a movie while it is recorded or edited.
constexpr char keptHeader[] = "user.dataio.header";

// Of the kinds that belong to people: the system sets others by itself.
bool isCopied(const QByteArray& name)
{
    return name != keptHeader && (name.startsWith("user.") || name.startsWith("system.posix_acl_"));
}

/// A list or value whose length the system tells first; empty where there are none.
template <typename Ask>
QByteArray answerOf(Ask ask, const QString& path)
{
    const ssize_t size = ask(nullptr, 0);
    QByteArray bytes(std::max<ssize_t>(size, 0), '\0');
    if (size <= 0 ? size < 0 && errno != ENOTSUP : ask(bytes.data(), static_cast<std::size_t>(size)) != size)
        throw systemError(path, QStringLiteral("read"), errno);
    return bytes;
}

void copyAttributes(int fd, const QByteArray& target, const QString& path)
{
    const char* from = target.constData();
    const QByteArray names =
        answerOf([from](char* list, std::size_t size) { return ::listxattr(from, list, size); }, path);
    for (const QByteArray& name : names.split('\0')) {
        if (!isCopied(name))
            continue;
        const QByteArray value = answerOf(
            [&](char* bytes, std::size_t size) { return ::getxattr(from, name.constData(), bytes, size); }, path);
        if (::fsetxattr(fd, name.constData(), value.constData(), static_cast<std::size_t>(value.size()), 0) != 0)
            throw systemError(path, QStringLiteral("written with its extended attributes"), errno);
    }
}

} // namespace

void keepOwnerAndRights(int fd, const QByteArray& target, const QString& path)
{
    struct stat old {};
    struct stat now {};
    if (::stat(target.constData(), &old) != 0) {
        if (errno == ENOENT) // somebody has removed it meanwhile
            return;
        throw systemError(path, QStringLiteral("read"), errno);
    }
    const bool isKnown = ::fstat(fd, &now) == 0;
    const bool isOwned = isKnown && now.st_uid == old.st_uid && now.st_gid == old.st_gid;
    if (!isOwned && ::fchown(fd, old.st_uid, old.st_gid) != 0)
        refuse(path, QStringLiteral("belongs to another user or group, and could not be given back to them"),
               QStringLiteral("write elsewhere, or remove it first"));
    if (::fchmod(fd, old.st_mode & 07777U) != 0)
        throw systemError(path, QStringLiteral("written with its permissions"), errno);
    copyAttributes(fd, target, path);
}

} // namespace zd::movietools
