#pragma once

#include <vqf/arguments/usageerror.h>
#include <vqf/console/exitcode.h>

#include <vqf/parser/syntax.h>

#include <functional>

namespace zd::tool {

/// One subcommand and what it runs once its arguments are parsed.
struct Command {
    Syntax syntax;
    std::function<ExitCode()> run;
    ExitCode failed = ExitCode::Failed; ///< what failures give, if 1 means something else
};

// Each adds its subcommand to the program.
Command addImportCommand(const Syntax& program);
Command addInfoCommand(const Syntax& program);
Command addFramesCommand(const Syntax& program);
Command addExportCommand(const Syntax& program);
Command addThumbCommand(const Syntax& program);
Command addSheetCommand(const Syntax& program);
Command addPlotCommand(const Syntax& program);
Command addFibersCommand(const Syntax& program);
Command addAttrCommand(const Syntax& program);
Command addOrderCommand(const Syntax& program);
Command addCopyHeaderCommand(const Syntax& program);
Command addAppendCommand(const Syntax& program);
Command addReplaceCommand(const Syntax& program);
Command addDiffCommand(const Syntax& program);
Command addCutCommand(const Syntax& program);
Command addJoinCommand(const Syntax& program);
Command addSplitCommand(const Syntax& program);
Command addListCommand(const Syntax& program);
Command addFollowCommand(const Syntax& program);
Command addAnonymizeCommand(const Syntax& program);
Command addCompletionCommand(const Syntax& program);
Command addVerifyCommand(const Syntax& program);
Command addRecoverCommand(const Syntax& program);
Command addChunksCommand(const Syntax& program);
Command addChecksumCommand(const Syntax& program);

} // namespace zd::tool
