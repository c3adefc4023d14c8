#include <vqf/command.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/moviesummary.h>
#include <movietools/timetext.h>
#include <movietools/wording.h>
#include <vqf/console.h>

#include <QJsonArray>
#include <QStringList>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace zd::tool {

namespace {

using movietools::MovieSummary;

constexpr const char* notes = R"(
Reads the header alone, whatever the movie's size. With --json each movie gives one line.

Examples:
  vqf info cells.vqf
  vqf info *.vqf --json)";

struct InfoArguments {
    std::vector<std::string> movies;
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

template <typename Value>
QJsonValue orNull(const std::optional<Value>& value)
{
    return value ? QJsonValue(*value) : QJsonValue();
}

QJsonValue timeOrNull(const std::optional<timeval>& time)
{
    return time ? QJsonValue(movietools::utcText(*time)) : QJsonValue();
}

QJsonValue textOrNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonValue laserPowerJson(const MovieSummary& movie)
{
    if (movie.knownLaserPowers == 0)
        return {};
    return QJsonObject{{QStringLiteral("frames"), static_cast<qint64>(movie.knownLaserPowers)},
                       {QStringLiteral("minimum"), double{movie.lowestLaserPower}},
                       {QStringLiteral("maximum"), double{movie.highestLaserPower}}};
}

QJsonValue paletteJson(const MovieSummary& movie)
{
    if (!movie.palette)
        return {};
    return QJsonObject{{QStringLiteral("name"), movie.palette->name},
                       {QStringLiteral("crop_minimum"), movie.palette->cropMin},
                       {QStringLiteral("crop_maximum"), movie.palette->cropMax},
                       {QStringLiteral("colors"), movie.palette->nodes}};
}

QJsonValue boundingBoxJson(const MovieSummary& movie)
{
    if (movie.boundingBox.empty())
        return {};
    QJsonArray box;
    for (const float side : movie.boundingBox)
        box.append(double{side});
    return box;
}

QJsonObject json(const MovieSummary& movie)
{
    QJsonObject attributes;
    for (const auto& [name, value] : movie.attributes)
        attributes.insert(name, value);
    return {{QStringLiteral("path"), movie.path},
            {QStringLiteral("bytes"), static_cast<qint64>(movie.bytes)},
            {QStringLiteral("frames"), static_cast<qint64>(movie.frames)},
            {QStringLiteral("width"), orNull(movie.width)},
            {QStringLiteral("height"), orNull(movie.height)},
            {QStringLiteral("pixel_type"), textOrNull(typeName(movie.type))},
            {QStringLiteral("pixel_bits"), orNull(movie.bits)},
            {QStringLiteral("times"), static_cast<qint64>(movie.times)},
            {QStringLiteral("first_time"), timeOrNull(movie.firstTime)},
            {QStringLiteral("last_time"), timeOrNull(movie.lastTime)},
            {QStringLiteral("duration_seconds"), orNull(movie.duration())},
            {QStringLiteral("frames_per_second"), orNull(movie.frameRate())},
            {QStringLiteral("frame_delay"), orNull(movie.frameDelay)},
            {QStringLiteral("laser_power"), laserPowerJson(movie)},
            {QStringLiteral("fibers"), static_cast<qint64>(movie.fibers)},
            {QStringLiteral("bounding_box"), boundingBoxJson(movie)},
            {QStringLiteral("palette"), paletteJson(movie)},
            {QStringLiteral("data_type"), movie.dataType},
            {QStringLiteral("comment"), textOrNull(movie.comment)},
            {QStringLiteral("specific_comment"), textOrNull(movie.specificComment)},
            {QStringLiteral("attributes"), attributes}};
}

ExitCode runInfo(const InfoArguments& arguments)
{
    ExitCode code = ExitCode::Done;
    for (const std::string& path : arguments.movies) {
        try {
            const MovieSummary movie = movietools::summarize(QString::fromStdString(path));
            if (arguments.json)
                printJson(QStringLiteral("vqf.info"), 1, json(movie));
            else
                printSummary(movie);
        } catch (const movietools::JobError& error) {
            complain(error);
            code = ExitCode::Failed;
        }
    }
    return code;
}

} // namespace

Command addInfoCommand(CLI::App& program)
{
    CLI::App* app = program.add_subcommand("info", "Tell what movies hold");
    auto arguments = std::make_shared<InfoArguments>();
    app->add_option("MOVIE", arguments->movies, "The movies to read")->required();
    app->add_flag("--json", arguments->json, "One JSON object for each movie, in one line");
    app->footer(notes);
    return {app, [arguments] { return runInfo(*arguments); }};
}

} // namespace zd::tool
