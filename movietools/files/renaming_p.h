#pragma once

#include <QByteArray>

/// Renaming without loss, also on file systems that know plain renaming alone.
namespace zd::movietools {

/// Gives the file or folder `from` the name `to`, which nothing may have. False, with `errno` set (EEXIST when something
/// has it), when the system fails.
bool renameToFreeName(const QByteArray& from, const QByteArray& to);

/// Lets two folders change their names. False, with `errno` set and both as they were, when the system fails.
bool exchangeNames(const QByteArray& a, const QByteArray& b);

} // namespace zd::movietools
