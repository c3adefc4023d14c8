#include <vqf/commands/command.h>

#include <movietools/draw/movieplot.h>
#include <vqf/arguments/framechoice.h>
#include <vqf/arguments/pictureoutput.h>
#include <vqf/arguments/sizeargument.h>
#include <vqf/console/drawingapplication.h>
#include <vqf/console/lostframes.h>
#include <vqf/console/progressline.h>

#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Mean intensity, laser power and frame interval, one above the other, over the time since the first frame; over the
number of the frame when the movie has no times. Reads every frame; one that cannot be read is told, and the exit code
is then 3.

Examples:
  vqf plot cells.vqf -o cells.png
  vqf plot cells.vqf -o start.png --time 0:2s --size 1600x900)";

struct PlotArguments {
    std::string movie;
    OutputArgument picture;
    FrameChoice frames;
    std::string size = "1000x700";
};

ExitCode runPlot(const PlotArguments& arguments)
{
    movietools::PlotOptions options;
    options.movie = QString::fromStdString(arguments.movie);
    options.frames = arguments.frames.selection();
    options.size = parseSize(arguments.size);
    if (options.size != options.size.expandedTo({200, 200}).boundedTo({10000, 10000}))
        throw UsageError{"--size " + arguments.size + ": 200x200 to 10000x10000"};
    PictureOutput output(arguments.picture, options.movie);
    const DrawingApplication application(options.movie);
    movietools::DrawnMovie drawn;
    {
        ProgressLine progress;
        drawn = plotMovie(options, progress.callback());
    }
    output.save(drawn.picture);
    return tellLostFrames(options.movie, drawn.lost);
}

} // namespace

Command addPlotCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("plot", "Draw intensity, laser power and frame interval over time");
    auto arguments = std::make_shared<PlotArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    arguments->picture.addTo(syntax, "picture").required();
    arguments->frames.addTo(syntax);
    syntax.option("--size", arguments->size, "Size of the picture in pixels").typeName("WIDTHxHEIGHT").showsDefault();
    syntax.footer(notes);
    return {syntax, [arguments] { return runPlot(*arguments); }};
}

} // namespace zd::tool
