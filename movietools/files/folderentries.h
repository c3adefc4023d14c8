#pragma once

#include <QString>
#include <QStringList>

namespace zd::movietools {

/// Names of everything in a folder, hidden or not, in no order. Throws JobError when it cannot be listed whole, which
/// never passes for an empty folder.
QStringList folderEntries(const QString& folder);

} // namespace zd::movietools
