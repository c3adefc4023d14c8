#include <vqf/commands/command.h>

#include <movietools/files/folderentries.h>
#include <movietools/job/joberror.h>
#include <movietools/job/progress.h>
#include <movietools/job/wording.h>
#include <movietools/movie/moviesummary.h>
#include <vqf/arguments/moviefields.h>
#include <vqf/console/console.h>
#include <vqf/console/interruption.h>
#include <vqf/console/lostframes.h>
#include <vqf/console/table.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Lists the files *.vqf of folders, and files that are named, by their headers. Conditions compare a field with a number
or a text by =, !=, <, <=, >, >=, or ~ (contains); several must all hold. Fields are those of "vqf info --field".
A file that is no closed movie is told, and the exit code is then 3.

Examples:
  vqf ls
  vqf ls . -r --sort size --reverse
  vqf ls . --where "frames>100" --where "attributes.operator=Curie" --format csv)";

struct LsArguments {
    std::vector<std::string> places;
    bool recursive = false;
    std::string sort = "name";
    bool reverse = false;
    std::vector<std::string> conditions;
    TableFormatArgument format;
};

/// The movies that hold the conditions, and whether all could be read.
struct Listing {
    std::vector<QJsonObject> movies;
    bool someRead = false;
    bool isComplete = true;
};

/// Adds the movies of a folder; one that cannot be listed whole is told.
void collect(const QString& folder, bool recursive, QStringList& movies, Listing& listing)
{
    try {
        for (const QString& name : movietools::folderEntries(folder)) {
            const QFileInfo entry(QDir(folder), name);
            const bool isHidden = name.startsWith(QLatin1Char('.'));
            if (recursive && !isHidden && entry.isDir() && !entry.isSymLink())
                collect(entry.filePath(), recursive, movies, listing);
            else if (!isHidden && name.endsWith(QLatin1StringView(".vqf"), Qt::CaseInsensitive) && !entry.isDir())
                movies.append(QDir::cleanPath(entry.filePath()));
        }
    } catch (const movietools::JobError& error) {
        complain(error);
        listing.isComplete = false;
    }
}

QStringList moviesIn(const QString& place, bool recursive, Listing& listing)
{
    if (!QFileInfo(place).isDir()) // also what is not there: opening it tells why
        return {place};
    QStringList movies;
    collect(place, recursive, movies, listing);
    movies.sort();
    return movies;
}

void list(const QString& path, const std::vector<MovieCondition>& conditions, Listing& listing)
{
    try {
        const movietools::MovieSummary summary = movietools::summarize(path);
        if (summary.lacksSideData) {
            tellLostSideData(path);
            listing.isComplete = false;
        }
        const QJsonObject movie = summaryJson(summary);
        listing.someRead = true;
        if (std::all_of(conditions.begin(), conditions.end(),
                        [&movie](const MovieCondition& condition) { return condition.holds(movie); }))
            listing.movies.push_back(movie);
    } catch (const movietools::JobError& error) {
        complain(error);
        listing.isComplete = false;
    }
}

void sortBy(const QString& field, bool reverse, std::vector<QJsonObject>& movies)
{
    std::stable_sort(movies.begin(), movies.end(), [&](const QJsonObject& a, const QJsonObject& b) {
        const QJsonValue first = fieldOf(a, field);
        const QJsonValue second = fieldOf(b, field);
        return reverse ? comesBefore(second, first) : comesBefore(first, second);
    });
}

Cell cell(const QJsonValue& value, const QString& text)
{
    return value.isNull() ? Cell::unknown() : Cell{value, fieldText(value), text};
}

Cell rounded(const QJsonValue& value, int digits)
{
    return cell(value, QString::number(value.toDouble(), 'f', digits));
}

std::vector<Cell> row(const QJsonObject& movie)
{
    const auto value = [&movie](const char* name) { return movie.value(QLatin1StringView(name)); };
    const auto bytes = static_cast<std::uint64_t>(value("bytes").toDouble());
    const QString recorded = value("first_time").toString();
    return {cell(value("frames"), fieldText(value("frames"))),
            cell(value("width"), fieldText(value("width"))),
            cell(value("height"), fieldText(value("height"))),
            cell(value("pixel_type"), value("pixel_type").toString().mid(3).toLower()),
            rounded(value("frames_per_second"), 1),
            rounded(value("duration_seconds"), 1),
            cell(value("bytes"), movietools::sizeText(bytes)),
            cell(value("first_time"), recorded.left(10) + QLatin1Char(' ') + recorded.mid(11, 5)),
            Cell::plain(value("path").toString())};
}

void printListing(const Listing& listing, TableFormat format)
{
    TablePrinter table(format, QStringLiteral("vqf.ls"), {}, QStringLiteral("movies"),
                       {{"frames", "frames", 7},
                        {"width", "width", 5},
                        {"height", "height", 6},
                        {"pixel_type", "type", -6},
                        {"frames_per_second", "rate", 7},
                        {"duration_seconds", "seconds", 8},
                        {"bytes", "size", 8},
                        {"first_time", "recorded", -16},
                        {"path", "name", -1}});
    for (const QJsonObject& movie : listing.movies)
        table.row(row(movie));
    table.finish();
}

ExitCode runLs(const LsArguments& arguments)
{
    const QString field = fieldName(arguments.sort);
    const std::vector<MovieCondition> conditions(arguments.conditions.begin(), arguments.conditions.end());
    Listing listing;
    for (const std::string& place : arguments.places.empty() ? std::vector<std::string>{"."} : arguments.places) {
        for (const QString& path : moviesIn(QString::fromStdString(place), arguments.recursive, listing)) {
            if (interruption() != 0)
                throw movietools::JobCancelled{};
            list(path, conditions, listing);
        }
    }
    sortBy(field, arguments.reverse, listing.movies);
    printListing(listing, arguments.format.value());
    if (listing.isComplete)
        return ExitCode::Done;
    return listing.someRead ? ExitCode::SomethingLost : ExitCode::Failed;
}

} // namespace

Command addListCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("ls", "List the movies of folders");
    auto arguments = std::make_shared<LsArguments>();
    syntax.option("DIR", arguments->places, "Folders and movies; the current folder without any");
    syntax.flag("-r,--recursive", arguments->recursive, "Folders in folders as well");
    syntax.option("--sort", arguments->sort, "The field to sort by").typeName("FIELD").showsDefault();
    syntax.flag("--reverse", arguments->reverse, "Largest or last first");
    syntax.option("--where", arguments->conditions, "Only movies for which this holds, like \"frames>100\"")
        .typeName("CONDITION")
        .oneValueEach();
    arguments->format.addTo(syntax);
    syntax.footer(notes);
    return {syntax, [arguments] { return runLs(*arguments); }};
}

} // namespace zd::tool
