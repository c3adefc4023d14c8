#pragma once

#include <QString>

/// What a series does with the files of its parts besides recording into them.
namespace zd::recording {

/// Creates a file that does not exist yet. Returns the error that prevents it, 0 for none.
int claimFile(const QString& path);
/// Takes room on the disk for what is recorded first; the file's length never shows it. Whether room was taken: not in
/// memory, nor where there is little left.
bool reserveAhead(const QString& path);
/// Gives back what the file did not need of that.
void giveReserveBack(const QString& path);
/// Waits until a closed file is on the storage device under its name; false when the system does not confirm it.
bool synchronise(const QString& path);

} // namespace zd::recording
