#include <vqf/commands/command.h>

#include <movietools/exchange/movieimport.h>
#include <movietools/job/wording.h>
#include <vqf/arguments/editarguments.h>
#include <vqf/arguments/framearguments.h>
#include <vqf/console/console.h>
#include <vqf/console/progressline.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
The pages must have the size and type of the movie's frames. A movie whose frames have times needs times for the new
ones. When anything goes wrong the movie is as it was.

Examples:
  vqf append cells.vqf more.tif --start 2024-03-01T10:05:00Z --rate 12 --laser-power 0.5)";

struct AppendArguments {
    std::string movie;
    std::vector<std::string> stacks;
    FrameArguments frames;
    EditArguments edit;
};

ExitCode runAppend(const AppendArguments& arguments)
{
    movietools::ImportOptions options;
    options.movie = QString::fromStdString(arguments.movie);
    for (const std::string& stack : arguments.stacks)
        options.stacks.append(QString::fromStdString(stack));
    arguments.frames.applyTo(options);
    options.withoutJournal = arguments.edit.withoutJournal();
    movietools::ImportResult result;
    arguments.edit.whenFree([&] {
        ProgressLine progress;
        result = appendFrames(options, progress.callback());
    });
    tell(QStringLiteral("%1: %2 frames more (%3)")
             .arg(escaped(options.movie))
             .arg(result.frames)
             .arg(movietools::sizeText(result.bytes)));
    return ExitCode::Done;
}

} // namespace

Command addAppendCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("append", "Add the pages of TIFF stacks to a movie");
    auto arguments = std::make_shared<AppendArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to change").required();
    syntax.option("STACK", arguments->stacks, "TIFF files, one page for each frame").required();
    arguments->frames.addTo(syntax);
    arguments->edit.addTo(syntax);
    syntax.footer(notes);
    syntax.addToFooter(editNote);
    return {syntax, [arguments] { return runAppend(*arguments); }};
}

} // namespace zd::tool
