#pragma once

#include <vqf/arguments/usageerror.h>
#include <vqf/console/exitcode.h>

#include <CLI/CLI.hpp>

#include <functional>

namespace zd::tool {

/// One subcommand and what it runs once its arguments are parsed.
struct Command {
    CLI::App* app;
    std::function<ExitCode()> run;
    ExitCode failed = ExitCode::Failed; ///< what failures give, if 1 means something else
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
