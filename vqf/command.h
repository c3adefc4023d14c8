#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace zd::tool {

/// What the program returns to the shell.
enum class ExitCode : int {
    Done = 0,
    Failed = 1,
    WrongUsage = 2,
    SomethingLost = 3, ///< done, but something was lost or damaged
    Interrupted = 130,
    Different = 1, ///< of diff
    Trouble = 2,   ///< of diff
};

/// One subcommand and what it runs once its arguments are parsed.
struct Command {
    CLI::App* app;
    std::function<ExitCode()> run;
    ExitCode failed = ExitCode::Failed; ///< what failures give, if 1 means something else
};

/// Arguments that do not go together. Thrown by `Command::run`; ends the program as wrong usage.
struct UsageError {
    std::string problem;
};

// Each adds its subcommand to the program.
Command addImportCommand(CLI::App& program);
Command addInfoCommand(CLI::App& program);
Command addFramesCommand(CLI::App& program);
Command addExportCommand(CLI::App& program);
Command addThumbCommand(CLI::App& program);
Command addSheetCommand(CLI::App& program);
Command addPlotCommand(CLI::App& program);
Command addFibersCommand(CLI::App& program);
Command addAttrCommand(CLI::App& program);
Command addOrderCommand(CLI::App& program);
Command addCopyHeaderCommand(CLI::App& program);
Command addAppendCommand(CLI::App& program);
Command addReplaceCommand(CLI::App& program);
Command addDiffCommand(CLI::App& program);
Command addCutCommand(CLI::App& program);
Command addJoinCommand(CLI::App& program);
Command addSplitCommand(CLI::App& program);
Command addListCommand(CLI::App& program);
Command addFollowCommand(CLI::App& program);
Command addAnonymizeCommand(CLI::App& program);
Command addCompletionCommand(CLI::App& program);
Command addVerifyCommand(CLI::App& program);
Command addRecoverCommand(CLI::App& program);
Command addChunksCommand(CLI::App& program);
Command addChecksumCommand(CLI::App& program);

} // namespace zd::tool
