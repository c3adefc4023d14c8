#include <vqf/commands/command.h>

#include <movietools/draw/contactsheet.h>
#include <vqf/arguments/framechoice.h>
#include <vqf/arguments/pictureoutput.h>
#include <vqf/console/drawingapplication.h>
#include <vqf/console/lostframes.h>
#include <vqf/console/progressline.h>

#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Small pictures of frames side by side, coloured through the movie's palette, each with its number and its time since
the first frame. Without --frames or --time they are taken in even steps from the whole movie. A frame that cannot be
read is crossed out and told; the exit code is then 3.

Examples:
  vqf sheet cells.vqf -o cells.png
  vqf sheet cells.vqf -o part.png --frames 10:22 --columns 4 --side 240)";

struct SheetArguments {
    std::string movie;
    OutputArgument picture;
    FrameChoice frames;
    movietools::SheetOptions sheet;
};

ExitCode runSheet(const SheetArguments& arguments)
{
    movietools::SheetOptions options = arguments.sheet;
    options.movie = QString::fromStdString(arguments.movie);
    options.frames = arguments.frames.selection();
    PictureOutput output(arguments.picture, options.movie);
    const DrawingApplication application(options.movie);
    movietools::DrawnMovie drawn;
    {
        ProgressLine progress;
        drawn = contactSheet(options, progress.callback());
    }
    output.save(drawn.picture);
    return tellLostFrames(options.movie, drawn.lost);
}

} // namespace

Command addSheetCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("sheet", "Draw a contact sheet: frames side by side with their times");
    auto arguments = std::make_shared<SheetArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    arguments->picture.addTo(syntax, "picture").required();
    arguments->frames.addTo(syntax);
    syntax.option("--count", arguments->sheet.pictures, "Most pictures").within(1, 10000).showsDefault();
    syntax.option("--columns", arguments->sheet.columns, "Pictures side by side; 0: by itself")
        .within(0, 1000)
        .showsDefault();
    syntax.option("--side", arguments->sheet.side, "Pixels that the longer side of a picture has")
        .within(16, 2000)
        .showsDefault();
    syntax.footer(notes);
    return {syntax, [arguments] { return runSheet(*arguments); }};
}

} // namespace zd::tool
