#pragma once

#include <QString>

#include <string>

namespace zd::test {

/// What a program left behind.
struct Ended {
    int code = -1; ///< exit code; 128 and the signal's number when a signal ended it
    std::string output;
    std::string errors;
};

/// Runs a shell script in `folder`, in which "vqf" is the tool of this build.
Ended runScript(const QString& folder, const std::string& script);

/// Starts "vqf" with these arguments in `folder`; waits until it writes to a file there that it has not named yet, then
/// sends it a signal.
Ended runUntilWriting(const QString& folder, const QStringList& arguments, int signal);

} // namespace zd::test
