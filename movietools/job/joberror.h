#pragma once

#include <QString>

namespace zd {
class IOFileException;
}

namespace zd::movietools {

/// Why a job on a whole movie could not be done, in words for the person who asked for it. Thrown by the jobs.
struct JobError {
    QString path;        ///< the file it is about, as it was named
    QString problem;     ///< what is wrong with it
    QString advice;      ///< what to do about it; may be empty
    QString code;        ///< the library's code; empty for what a job itself found
    bool isBusy = false; ///< another program records or changes the file: later it will be free
};

/// Throws an error that a job found by itself. `advice` may be empty.
[[noreturn]] void refuse(const QString& path, const QString& problem, const QString& advice);

/// Throws the error of a movie that another program records or changes.
[[noreturn]] void refuseBusy(const QString& path);

/// A report of the library about the file at `path`. `workPath` is another name under which the library knew the
/// file; it does not appear in the words.
JobError jobError(const IOFileException& report, const QString& path, const QString& workPath = {});

/// A failed system call on the file at `path`: "cannot be WHAT: the system's text for `error`".
JobError systemError(const QString& path, const QString& what, int error);

} // namespace zd::movietools
