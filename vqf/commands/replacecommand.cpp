#include <vqf/commands/command.h>

#include <movietools/exchange/movieimport.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/timetext.h>
#include <vqf/arguments/editarguments.h>
#include <vqf/console/console.h>

#include <memory>
#include <optional>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
The first page of the TIFF file takes the place of the frame; it must have the size and type of the movie's frames.
Time and laser power stay unless they are given. When anything goes wrong the movie is as it was.

Examples:
  vqf replace cells.vqf 12 corrected.tif
  vqf replace cells.vqf 12 corrected.tif --laser-power 0.4)";

struct ReplaceArguments {
    std::string movie;
    unsigned frame = 0;
    std::string stack;
    std::string time;
    double laserPower = 0;
    Option laserPowerOption;
    EditArguments edit;
};

ExitCode runReplace(const ReplaceArguments& arguments)
{
    std::optional<timeval> time;
    if (!arguments.time.empty()) {
        time = movietools::parseTime(QString::fromStdString(arguments.time));
        if (!time)
            throw UsageError{"--time " + arguments.time + ": write it as 2024-03-01T10:00:00Z, a time before 2038"};
    }
    std::optional<float> laserPower;
    if (arguments.laserPowerOption.isGiven()) {
        if (!movietools::isLaserPower(arguments.laserPower))
            throw UsageError{"--laser-power is a fraction of full power, from 0 to 1; -1: not known"};
        laserPower = static_cast<float>(arguments.laserPower);
    }
    const QString path = QString::fromStdString(arguments.movie);
    arguments.edit.whenFree([&] {
        movietools::replaceFrame(path, arguments.frame, QString::fromStdString(arguments.stack), time, laserPower,
                                 arguments.edit.withoutJournal());
    });
    tell(QStringLiteral("%1: frame %2 replaced").arg(escaped(path)).arg(arguments.frame));
    return ExitCode::Done;
}

} // namespace

Command addReplaceCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("replace", "Replace one frame of a movie");
    auto arguments = std::make_shared<ReplaceArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to change").required();
    syntax.option("FRAME", arguments->frame, "The frame to replace, from 0").required();
    syntax.option("STACK", arguments->stack, "The TIFF file with the new frame").required();
    syntax.option("--time", arguments->time, "Its time").typeName("TIME");
    arguments->laserPowerOption =
        syntax.option("--laser-power", arguments->laserPower, "Its laser power, 0 to 1; -1: not known")
            .typeName("POWER");
    arguments->edit.addTo(syntax);
    syntax.footer(notes);
    syntax.addToFooter(editNote);
    return {syntax, [arguments] { return runReplace(*arguments); }};
}

} // namespace zd::tool
