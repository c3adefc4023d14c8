#pragma once

#include <QByteArray>
#include <QString>

namespace zd::movietools {

/// Gives the open file the owner, permissions and extended attributes of the file at `target`, which it will replace, but
/// for the header that a recording keeps there. Throws JobError about `path` when it cannot have them.
void keepOwnerAndRights(int fd, const QByteArray& target, const QString& path);

} // namespace zd::movietools
