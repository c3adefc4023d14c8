#include <vqf/commands/command.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/job/timetext.h>
#include <movietools/job/wording.h>
#include <movietools/movie/moviesummary.h>
#include <vqf/arguments/moviefields.h>
#include <vqf/console/console.h>
#include <vqf/console/lostframes.h>
#include <vqf/console/settings.h>

#include <QStringList>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace zd::tool {

namespace {

using movietools::MovieSummary;

constexpr const char* notes = R"(
Reads the header alone, whatever the movie's size. With --json each movie gives one line. The fields of --field are
the names in that line, parts of them as laser_power.minimum or attributes.operator, and the short forms size, type,
rate, duration, recorded and name.

Examples:
  vqf info cells.vqf
  vqf info cells.vqf --field frames
  vqf info *.vqf --json)";

struct InfoArguments {
    std::vector<std::string> movies;
    std::string field;
    bool json = false;
};

QString typeName(ZDImagePixelType type)
{
    QString name;
    PixelTypeToQstring(type, name);
    return name;
}

void printField(const char* name, const QString& value)
{
    print(QStringLiteral("  %1 %2\n").arg(QLatin1StringView(name), -13).arg(value));
}

// Each line of the text on a line of its own, under the first.
void printLines(const char* name, const QString& text)
{
    if (text.isEmpty())
        return;
    const char* title = name;
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        printField(title, escaped(line));
        title = "";
    }
}

QString sizeOfPicture(const MovieSummary& movie)
{
    const auto side = [](const std::optional<int>& pixels) {
        return pixels ? QString::number(*pixels) : QStringLiteral("?");
    };
    QString text = QStringLiteral("%1 x %2").arg(side(movie.width), side(movie.height));
    if (movie.type != ZD_UNKNOWN)
        return text + QStringLiteral(", %1 (%2)").arg(movietools::pixelTypeText(movie.type), typeName(movie.type));
    return text + (movie.bits ? QStringLiteral(", %1 bits").arg(*movie.bits) : QStringLiteral(", unknown pixels"));
}

void printTimes(const MovieSummary& movie)
{
    if (movie.times == 0) {
        printField("recorded", QStringLiteral("not known"));
    } else {
        printField("recorded", movietools::utcText(*movie.firstTime));
        if (movie.times != movie.frames)
            printField("", QStringLiteral("%1 times for %2 frames").arg(movie.times).arg(movie.frames));
    }
    if (const auto duration = movie.duration()) {
        const auto rate = movie.frameRate();
        printField("duration", QStringLiteral("%1 s").arg(*duration, 0, 'f', 3) +
                                   (rate ? QStringLiteral(", %1 frames/s").arg(*rate, 0, 'f', 2) : QString()));
    }
    if (movie.frameDelay)
        printField("frame delay", QString::number(*movie.frameDelay));
}

void printLaserPowers(const MovieSummary& movie)
{
    if (movie.knownLaserPowers == 0)
        return;
    const auto percent = [](float power) { return QStringLiteral("%1 %").arg(100.0 * power, 0, 'f', 1); };
    QString text = percent(movie.lowestLaserPower);
    if (movie.highestLaserPower > movie.lowestLaserPower)
        text += QStringLiteral(" to ") + percent(movie.highestLaserPower);
    if (movie.knownLaserPowers < movie.frames)
        text += QStringLiteral(" (%1 frames of %2)").arg(movie.knownLaserPowers).arg(movie.frames);
    printField("laser power", text);
}

void printBundle(const MovieSummary& movie)
{
    if (movie.fibers > 0)
        printField("fibres", QString::number(movie.fibers));
    if (movie.boundingBox.size() == 4) {
        const std::vector<float>& box = movie.boundingBox;
        printField("bundle", QStringLiteral("%1, %2 to %3, %4").arg(box[0]).arg(box[1]).arg(box[2]).arg(box[3]));
    }
}

void printPalette(const MovieSummary& movie)
{
    if (!movie.palette)
        return;
    const movietools::PaletteSummary& palette = *movie.palette;
    printField("palette", QStringLiteral("%1%2 to %3, %4 colours")
                              .arg(palette.name.isEmpty() ? QString() : escaped(palette.name) + QStringLiteral(", "))
                              .arg(palette.cropMin)
                              .arg(palette.cropMax)
                              .arg(palette.nodes));
}

bool isShownApart(const QString& name)
{
    namespace key = layout::key;
    constexpr std::array shown{key::width,      key::height,  key::pixType,         key::pixBits,
                               key::frameDelay, key::comment, key::specificComment, key::dataType,
                               key::boxMinX,    key::boxMinY, key::boxMaxX,         key::boxMaxY};
    return std::find(shown.begin(), shown.end(), name) != shown.end();
}

void printAttributes(const MovieSummary& movie)
{
    const char* title = "attributes";
    for (const auto& [name, value] : movie.attributes) {
        if (isShownApart(name))
            continue;
        printField(title, escaped(name) + QStringLiteral(" = ") + escaped(value));
        title = "";
    }
}

void printSummary(const MovieSummary& movie)
{
    print(escaped(movie.path) + QLatin1Char('\n'));
    printField("frames", QString::number(movie.frames));
    printField("picture", sizeOfPicture(movie));
    printField("file", movietools::sizeText(movie.bytes));
    printTimes(movie);
    printLaserPowers(movie);
    printBundle(movie);
    printPalette(movie);
    printField("data type", escaped(movie.dataType));
    printLines("comment", movie.comment);
    printLines("2nd comment", movie.specificComment);
    printAttributes(movie);
}

// The bare value, for scripts; of several movies each in its line.
void printBareField(const MovieSummary& movie, const QString& field)
{
    print(fieldText(fieldOf(summaryJson(movie), field)) + QLatin1Char('\n'));
}

ExitCode runInfo(const InfoArguments& arguments)
{
    const QString field = arguments.field.empty() ? QString() : fieldName(arguments.field);
    ExitCode code = ExitCode::Done;
    for (const std::string& path : arguments.movies) {
        try {
            const MovieSummary movie = movietools::summarize(QString::fromStdString(path));
            if (!field.isEmpty())
                printBareField(movie, field);
            else if (arguments.json || settings().json)
                printJson(QStringLiteral("vqf.info"), 1, summaryJson(movie));
            else
                printSummary(movie);
            if (movie.lacksSideData && code == ExitCode::Done)
                code = tellLostSideData(movie.path);
        } catch (const movietools::JobError& error) {
            complain(error);
            code = ExitCode::Failed;
        }
    }
    return code;
}

} // namespace

Command addInfoCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("info", "Tell what movies hold");
    auto arguments = std::make_shared<InfoArguments>();
    syntax.option("MOVIE", arguments->movies, "The movies to read").required();
    const Option field =
        syntax.option("--field", arguments->field, "Print the bare value of one field").typeName("FIELD");
    syntax.flag("--json", arguments->json, "One JSON object for each movie, in one line").excludes(field);
    syntax.footer(notes);
    return {syntax, [arguments] { return runInfo(*arguments); }};
}

} // namespace zd::tool
