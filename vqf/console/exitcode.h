#pragma once

namespace zd::tool {

/// What the program returns to the shell.
enum class ExitCode : int {
    Done = 0,
    Failed = 1,
    WrongUsage = 2,
    SomethingLost = 3, ///< done, but something was lost or damaged
    Interrupted = 130,
};

} // namespace zd::tool
