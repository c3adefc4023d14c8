#include <vqf/commands/command.h>

#include <movietools/job/timetext.h>
#include <movietools/splice/moviecut.h>
#include <vqf/arguments/outputargument.h>
#include <vqf/console/madetext.h>
#include <vqf/console/progressline.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Every part is a movie of its own, with the header, the palette and the fibre centres of the whole, and its frames'
times and laser powers. Parts are named after the output, or the movie, with a number: cells-1.vqf, cells-2.vqf, ...
All of them appear, or none. "vqf join" puts them together again.

Examples:
  vqf split cells.vqf --every 100
  vqf split cells.vqf --every 1.5s -o piece.vqf
  vqf split cells.vqf --max-size 15kB -o small.vqf)";

struct SplitArguments {
    std::string movie;
    MovieOutputArgument output;
    std::string every;
    std::uint64_t maxSize = 0;
    Option maxSizeOption;
};

movietools::PartLength partLength(const SplitArguments& arguments)
{
    movietools::PartLength length;
    if (arguments.maxSizeOption.isGiven())
        length.bytes = arguments.maxSize;
    if (arguments.every.empty()) {
        if (!length.bytes)
            throw UsageError{"say how long the parts are, with --every or --max-size"};
        return length;
    }
    const QString every = QString::fromStdString(arguments.every);
    bool isNumber = false;
    const unsigned frames = every.toUInt(&isNumber);
    const std::optional<std::int64_t> time = movietools::parseDuration(every);
    if (isNumber ? frames == 0 : !time || *time <= 0)
        throw UsageError{"--every " + arguments.every + ": write a number of frames, like 100, or a time, like 10s"};
    if (isNumber)
        length.frames = frames;
    else
        length.time = *time;
    return length;
}

ExitCode runSplit(const SplitArguments& arguments)
{
    if (arguments.output.isStandardOutput())
        throw UsageError{"-o -: parts are several files"};
    const QString movie = QString::fromStdString(arguments.movie);
    const QString output = arguments.output.isGiven() ? arguments.output.path() : movie;
    std::vector<movietools::MadeMovie> parts;
    arguments.output.whenFree([&] {
        ProgressLine progress;
        parts = movietools::splitMovie(movie, partLength(arguments), {output, arguments.output.replaces()},
                                       progress.callback());
    });
    for (const movietools::MadeMovie& part : parts)
        tellMade(part);
    return ExitCode::Done;
}

} // namespace

Command addSplitCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("split", "Cut a movie into parts");
    auto arguments = std::make_shared<SplitArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    arguments->output.addTo(syntax, "parts").describedAs("What the parts are named after; the movie without this");
    syntax.option("--every", arguments->every, "Frames of each part, like 100, or their time, like 10s")
        .typeName("LENGTH");
    arguments->maxSizeOption =
        syntax.option("--max-size", arguments->maxSize, "Largest file, like 500MB").asSize().typeName("SIZE");
    syntax.footer(notes);
    return {syntax, [arguments] { return runSplit(*arguments); }};
}

} // namespace zd::tool
