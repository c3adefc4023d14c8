#include <vqf/commands/command.h>

#include <movietools/movie/movieedit.h>
#include <vqf/arguments/editarguments.h>
#include <vqf/console/console.h>

#include <memory>
#include <optional>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
A recording through a circular buffer lies in the file in the order of the buffer. This makes the chosen frame the
first one; the frames before it follow behind the last frame of the circular part. No frame is moved in the file.
Laser powers follow their frames; times stay in order.

Examples:
  vqf order cells.vqf --first 120
  vqf order cells.vqf --first 120 --circular 400)";

struct OrderArguments {
    std::string movie;
    unsigned first = 0;
    unsigned circularSize = 0;
    Option circularOption;
    EditArguments edit;
};

ExitCode runOrder(const OrderArguments& arguments)
{
    const QString path = QString::fromStdString(arguments.movie);
    std::optional<unsigned> circularSize;
    if (arguments.circularOption.isGiven())
        circularSize = arguments.circularSize;
    arguments.edit.whenFree(
        [&] { movietools::putFrameFirst(path, arguments.first, circularSize, arguments.edit.withoutJournal()); });
    tell(QStringLiteral("%1: begins with what was frame %2").arg(escaped(path)).arg(arguments.first));
    return ExitCode::Done;
}

} // namespace

Command addOrderCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("order", "Choose the first frame of a circular recording");
    auto arguments = std::make_shared<OrderArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to change").required();
    syntax.option("--first", arguments->first, "The frame to come first, from 0").required().typeName("FRAME");
    arguments->circularOption = syntax
                                    .option("--circular", arguments->circularSize,
                                            "Frames of the circular part, fewer than all; the whole movie without this")
                                    .typeName("FRAMES");
    arguments->edit.addTo(syntax);
    syntax.footer(notes);
    syntax.addToFooter(editNote);
    return {syntax, [arguments] { return runOrder(*arguments); }};
}

} // namespace zd::tool
