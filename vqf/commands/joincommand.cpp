#include <vqf/commands/command.h>

#include <movietools/splice/moviecut.h>
#include <vqf/arguments/outputargument.h>
#include <vqf/console/console.h>
#include <vqf/console/madetext.h>
#include <vqf/console/progressline.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
The frames are copied byte by byte, with their times and laser powers. They must have one size, type and byte order,
and all of them times or none, in order. Header, palette and fibre centres are those of the first movie; what differs
in the others is told, and the exit code is then 3.

Examples:
  vqf join recorded.vqf later.vqf -o whole.vqf
  vqf join part-1.vqf part-2.vqf part-3.vqf -o cells.vqf --force)";

struct JoinArguments {
    std::vector<std::string> movies;
    MovieOutputArgument output;
};

ExitCode runJoin(const JoinArguments& arguments)
{
    QStringList movies;
    for (const std::string& movie : arguments.movies)
        movies.append(QString::fromStdString(movie));
    movietools::JoinResult result;
    arguments.output.whenFree([&] {
        ProgressLine progress;
        result =
            movietools::joinMovies(movies, {arguments.output.path(), arguments.output.replaces()}, progress.callback());
    });
    tellMade(result.made);
    for (const QString& loss : result.losses)
        complain(loss);
    return result.losses.isEmpty() ? ExitCode::Done : ExitCode::SomethingLost;
}

} // namespace

Command addJoinCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("join", "Put movies one behind the other");
    auto arguments = std::make_shared<JoinArguments>();
    syntax.option("MOVIE", arguments->movies, "The movies to read, in order").required();
    arguments->output.addTo(syntax).required();
    syntax.footer(notes);
    return {syntax, [arguments] { return runJoin(*arguments); }};
}

} // namespace zd::tool
