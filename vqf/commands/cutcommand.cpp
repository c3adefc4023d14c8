#include <vqf/commands/command.h>

#include <movietools/splice/moviecut.h>
#include <vqf/arguments/framechoice.h>
#include <vqf/arguments/outputargument.h>
#include <vqf/console/madetext.h>
#include <vqf/console/progressline.h>

#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
The frames are copied byte by byte, with their times and laser powers; header, palette and fibre centres come along,
and checksums are kept up to date. Frames that have times are chosen in ascending order.

Examples:
  vqf cut cells.vqf -o part.vqf --frames 100:200
  vqf cut cells.vqf -o thinned.vqf --frames ::10
  vqf cut cells.vqf -o start.vqf --time :2s)";

struct CutArguments {
    std::string movie;
    MovieOutputArgument output;
    FrameChoice frames;
};

ExitCode runCut(const CutArguments& arguments)
{
    const movietools::FrameSelection frames = arguments.frames.selection();
    if (frames.isEverything())
        throw UsageError{"choose frames with --frames or --time"};
    movietools::MadeMovie made;
    arguments.output.whenFree([&] {
        ProgressLine progress;
        made = movietools::cutMovie(QString::fromStdString(arguments.movie), frames,
                                    {arguments.output.path(), arguments.output.replaces()}, progress.callback());
    });
    tellMade(made);
    return ExitCode::Done;
}

} // namespace

Command addCutCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("cut", "Make a movie of some frames of another");
    auto arguments = std::make_shared<CutArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    arguments->output.addTo(syntax).required();
    arguments->frames.addTo(syntax);
    syntax.footer(notes);
    return {syntax, [arguments] { return runCut(*arguments); }};
}

} // namespace zd::tool
