#pragma once

#include <QByteArray>
#include <QString>

/// Names of outputs that are not complete: ".vqf-", the system and process at work on them, and a random end.
namespace zd::movietools {

/// Such a name in `folder`, ending in "XXXXXX" for mkostemp and mkdtemp.
QByteArray workName(const QByteArray& folder);

/// Removes what processes of this system that have ended, killed perhaps, left in `folder` under such names: files, and
/// folders that hold nothing but what exports write. Whatever may be somebody's work stays, and so does what cannot be
/// removed: it is in nobody's way.
void sweepWorkNames(const QByteArray& folder) noexcept;

/// Whether a folder holds nothing but pictures and a sidecar as exports name them. Throws JobError when it cannot be
/// listed.
bool holdsExportAlone(const QString& folder);

/// Removes such a folder. False when something of it stays.
bool removeExport(const QByteArray& folder);

} // namespace zd::movietools
