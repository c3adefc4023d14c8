#include <vqf/commands/command.h>

#include <common/iofileexception.h>
#include <log/logger.h>
#include <movietools/job/joberror.h>
#include <movietools/job/progress.h>
#include <vqf/console/console.h>
#include <vqf/console/interruption.h>
#include <vqf/console/memoryshortage.h>
#include <vqf/console/settings.h>

#include <new>
#include <vector>

namespace {

using namespace zd;
using namespace zd::tool;

constexpr const char* examples = R"(
Examples:
  vqf import beads.tif -o beads.vqf --rate 12
  vqf info beads.vqf
  vqf frames beads.vqf --format csv
  vqf export beads.vqf -o copy.tif --frames 0:10
  vqf thumb beads.vqf -o beads.png
  vqf attr set beads.vqf operator=Curie
  vqf recover dead.vqf -o alive.vqf

"vqf COMMAND --help" tells about one command.
Exit codes: 0 done, 1 failed, 2 wrong usage, 3 done but something was lost or damaged, 130 interrupted.)";

// Errors arrive as exceptions and are told once; the other records of the library are shown as they come.
void showRecordsOfTheLibrary()
{
    Logger::setSink([](const LogRecord& record) {
        if (record.level > LogLevel::getError().rank())
            complain(record.code.isEmpty() ? record.message
                                           : QStringLiteral("%1 [%2]").arg(record.message, record.code));
    });
}

ExitCode tell(const ParserAnswer& answer)
{
    const QString text = QString::fromStdString(answer.text);
    if (!answer.isProblem) {
        print(text);
        return ExitCode::Done;
    }
    complain(text.trimmed().replace(QLatin1Char('\n'), QStringLiteral("; ")));
    return ExitCode::WrongUsage;
}

ExitCode run(const Command& command)
{
    try {
        return command.run();
    } catch (const UsageError& error) {
        complain(QString::fromStdString(error.problem));
        return ExitCode::WrongUsage;
    } catch (const movietools::JobError& error) {
        complain(error);
    } catch (const movietools::JobCancelled&) {
        complain(QStringLiteral("stopped; no file was written"));
        return ExitCode::Interrupted;
    } catch (const IOFileException& report) {
        complain(movietools::jobError(report, {}));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        complain(QString::fromUtf8(error.what()));
    }
    return command.failed;
}

// The same with all results out of the house.
ExitCode runAndFlush(const Command& command)
{
    const ExitCode code = run(command);
    if (flushResults())
        return code;
    complain(QStringLiteral("standard output: not everything could be written; free some space"));
    return command.failed;
}

ExitCode parseAndRun(int argc, char** argv)
{
    Program parser("vqf", "Makes, shows, edits and exports VQF movies.", "vqf " VQF_VERSION);
    const Syntax program = parser.syntax();
    program.footer(examples);
    addSettings(program);
    const std::vector<Command> commands{
        addImportCommand(program),    addInfoCommand(program),       addListCommand(program),
        addFramesCommand(program),    addExportCommand(program),     addThumbCommand(program),
        addSheetCommand(program),     addPlotCommand(program),       addFibersCommand(program),
        addAttrCommand(program),      addOrderCommand(program),      addAppendCommand(program),
        addReplaceCommand(program),   addCopyHeaderCommand(program), addDiffCommand(program),
        addCutCommand(program),       addJoinCommand(program),       addSplitCommand(program),
        addAnonymizeCommand(program), addFollowCommand(program),     addCompletionCommand(program),
        addVerifyCommand(program),    addRecoverCommand(program),    addChunksCommand(program),
        addChecksumCommand(program)};
    for (const Command& command : commands)
        command.syntax.addToFooter(settingsNote);
    if (const auto answer = parser.parse(argc, argv)) {
        const ExitCode code = tell(*answer);
        return flushResults() ? code : ExitCode::Failed;
    }
    for (const Command& command : commands) {
        if (!command.syntax.isParsed())
            continue;
        setExitCodeWithoutMemory(static_cast<int>(command.failed));
        return runAndFlush(command);
    }
    return ExitCode::WrongUsage;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        watchSignals();
        showRecordsOfTheLibrary();
        return static_cast<int>(parseAndRun(argc, argv));
    } catch (const std::bad_alloc&) {
        return complainOfMemory();
    }
}
