#include <vqf/commands/command.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/job/wording.h>
#include <movietools/splice/anonymize.h>
#include <vqf/arguments/outputargument.h>
#include <vqf/console/console.h>
#include <vqf/console/progressline.h>
#include <vqf/console/table.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Makes a copy without what could tell whom the movie shows: comments and all free text, all attributes but the
technical numbers (size and type of the frames, palette, bundle, ...) and chunks of unknown types. What goes and what
stays is listed with its value. When the frames were recorded stays, too, unless --times is given: then the first
frame is at 1970-01-01 00:00:00 UTC, and the intervals stay.
The copy is searched for the removed lines and values; it appears only when none of them is left. Values of fewer than
6 characters are searched with their names, and in every text that stays. What the pixels show is not looked at.

Examples:
  vqf anonymize cells.vqf --list
  vqf anonymize cells.vqf -o anonymous.vqf --times
  vqf anonymize cells.vqf -o anonymous.vqf --keep operator)";

struct AnonymizeArguments {
    std::string movie;
    MovieOutputArgument output;
    bool listOnly = false;
    std::vector<std::string> keep;
    std::vector<std::string> remove;
    bool shiftTimes = false;
    TableFormatArgument format;
};

QStringList listOf(const std::vector<std::string>& names)
{
    QStringList list;
    for (const std::string& name : names)
        list.append(QString::fromStdString(name));
    return list;
}

QString fateText(movietools::Fate fate)
{
    switch (fate) {
    case movietools::Fate::Removed:
        return QStringLiteral("removed");
    case movietools::Fate::Shifted:
        return QStringLiteral("shifted");
    default:
        return QStringLiteral("kept");
    }
}

void printItems(const std::vector<movietools::ToldItem>& items, const QString& movie, TableFormat format)
{
    TablePrinter table(format, QStringLiteral("vqf.anonymize"), {{QStringLiteral("movie"), movie}},
                       QStringLiteral("items"), {{"fate", "fate", -8}, {"name", "name", -24}, {"value", "value", -1}});
    for (const movietools::ToldItem& item : items)
        table.row(
            {Cell::plain(fateText(item.fate)), Cell::plain(item.name), Cell::plain(layout::decodeComment(item.value))});
    table.finish();
}

ExitCode runAnonymize(const AnonymizeArguments& arguments)
{
    if (arguments.output.isGiven() == arguments.listOnly)
        throw UsageError{"name the movie to make with -o, or only list with --list"};
    const QString movie = QString::fromStdString(arguments.movie);
    const movietools::AnonymizeChoice choice{listOf(arguments.keep), listOf(arguments.remove), arguments.shiftTimes};
    const TableFormat format = arguments.format.value();
    if (arguments.listOnly) {
        printItems(movietools::anonymousPlan(movie, choice), movie, format);
        return ExitCode::Done;
    }
    movietools::Anonymized result;
    arguments.output.whenFree([&] {
        ProgressLine progress;
        result = movietools::anonymizeMovie(movie, choice, {arguments.output.path(), arguments.output.replaces()},
                                            progress.callback());
    });
    printItems(result.items, movie, format);
    if (format == TableFormat::Table)
        tell(QStringLiteral("%1: %2 frames (%3), searched: nothing of what was removed is left")
                 .arg(escaped(result.made.path))
                 .arg(result.made.frames)
                 .arg(movietools::sizeText(result.searchedBytes)));
    return ExitCode::Done;
}

Option addNames(const Syntax& syntax, const char* option, std::vector<std::string>& names, const char* what)
{
    return syntax.option(option, names, what).typeName("NAME").oneValueEach();
}

} // namespace

Command addAnonymizeCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("anonymize", "Copy a movie without what identifies people");
    auto arguments = std::make_shared<AnonymizeArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    arguments->output.addTo(syntax);
    syntax.flag("--list", arguments->listOnly, "Only list what would go and what would stay");
    addNames(syntax, "--keep", arguments->keep, "An attribute to keep all the same; may be given several times");
    addNames(syntax, "--remove", arguments->remove, "Another attribute to remove; may be given several times");
    syntax.flag("--times,--relative-times", arguments->shiftTimes, "Let the times begin at 1970-01-01 00:00:00 UTC");
    arguments->format.addTo(syntax);
    syntax.footer(notes);
    return {syntax, [arguments] { return runAnonymize(*arguments); }};
}

} // namespace zd::tool
