#include <vqf/commands/command.h>

#include <movietools/compare/moviediff.h>
#include <vqf/console/console.h>
#include <vqf/console/progressline.h>
#include <vqf/console/settings.h>

#include <QJsonArray>
#include <QJsonObject>

#include <memory>

namespace zd::tool {

namespace {

// The exit codes of this command, as those of other programs that compare.
constexpr ExitCode different{1};
constexpr ExitCode trouble{2};

using movietools::DifferingSample;
using movietools::MovieDifferences;
using movietools::ValueDifferences;

constexpr const char* notes = R"(
Compares header attributes, number, size and type of the frames, times, laser powers, fibre centres and every sample,
bit by bit; where the chunks lie in the files makes no difference. Differences are absolute: the largest, and the mean
over all values compared.

Exit codes: 0 identical, 1 different, 2 trouble. -q prints nothing.

Examples:
  vqf diff cells.vqf recorded.vqf
  vqf diff cells.vqf recorded.vqf --json)";

struct DiffArguments {
    std::string a;
    std::string b;
    bool json = false;
};

void tellField(const char* name, const QString& text)
{
    tell(QStringLiteral("  %1 %2").arg(QLatin1StringView(name), -13).arg(text));
}

void tellItems(const char* title, const std::vector<MovieDifferences::Item>& items)
{
    const auto shown = [](const std::optional<QString>& value) {
        return value ? escaped(*value) : QStringLiteral("nothing");
    };
    for (const MovieDifferences::Item& item : items) {
        tellField(title, QStringLiteral("%1: %2 and %3").arg(escaped(item.name), shown(item.a), shown(item.b)));
        title = "";
    }
}

QString rounded(double value)
{
    return QString::number(value, 'g', 9);
}

void tellValues(const char* title, const ValueDifferences& values, const char* place, const char* unit)
{
    if (values.differing > 0)
        tellField(title, QStringLiteral("%1 of %2 differ, first at %3 %4; largest difference %5%6, mean %7%6")
                             .arg(values.differing)
                             .arg(values.compared)
                             .arg(QLatin1StringView(place))
                             .arg(*values.first)
                             .arg(rounded(values.largest), QLatin1StringView(unit), rounded(values.mean())));
}

void tellFrames(const MovieDifferences& differences)
{
    if (differences.framesDiffering > 0)
        tellField("frames", QStringLiteral("%1 of %2 differ, first frame %3")
                                .arg(differences.framesDiffering)
                                .arg(differences.framesCompared)
                                .arg(*differences.firstFrame));
    if (!differences.firstSample)
        return;
    const DifferingSample& sample = *differences.firstSample;
    tellField("first pixel", QStringLiteral("column %1, row %2 of frame %3: %4 and %5")
                                 .arg(sample.x)
                                 .arg(sample.y)
                                 .arg(sample.frame)
                                 .arg(rounded(sample.a), rounded(sample.b)));
    tellField("pixels", QStringLiteral("%1 of %2 samples differ; largest difference %3, mean %4")
                            .arg(differences.samples.differing)
                            .arg(differences.samples.compared)
                            .arg(rounded(differences.samples.largest), rounded(differences.samples.mean())));
}

void tellDifferences(const QString& a, const QString& b, const MovieDifferences& differences)
{
    if (differences.none()) {
        tell(QStringLiteral("%1 and %2: identical (%3 frames)")
                 .arg(escaped(a), escaped(b))
                 .arg(differences.framesCompared));
        return;
    }
    tell(QStringLiteral("%1 and %2: different").arg(escaped(a), escaped(b)));
    tellItems("structure", differences.structure);
    tellItems("attributes", differences.attributes);
    tellValues("times", differences.times, "frame", " s");
    tellValues("laser powers", differences.laserPowers, "frame", "");
    tellValues("fibres", differences.fibers, "fibre", " pixels");
    tellFrames(differences);
}

QJsonValue orNull(const std::optional<QString>& text)
{
    return text ? QJsonValue(*text) : QJsonValue();
}

QJsonArray json(const std::vector<MovieDifferences::Item>& items)
{
    QJsonArray array;
    for (const MovieDifferences::Item& item : items)
        array.append(QJsonObject{{QStringLiteral("name"), item.name},
                                 {QStringLiteral("a"), orNull(item.a)},
                                 {QStringLiteral("b"), orNull(item.b)}});
    return array;
}

QJsonObject json(const ValueDifferences& values)
{
    return {{QStringLiteral("compared"), static_cast<qint64>(values.compared)},
            {QStringLiteral("differing"), static_cast<qint64>(values.differing)},
            {QStringLiteral("first"), values.first ? QJsonValue(static_cast<qint64>(*values.first)) : QJsonValue()},
            {QStringLiteral("largest"), values.largest},
            {QStringLiteral("mean"), values.mean()}};
}

QJsonValue json(const std::optional<DifferingSample>& sample)
{
    if (!sample)
        return {};
    return QJsonObject{{QStringLiteral("frame"), static_cast<qint64>(sample->frame)},
                       {QStringLiteral("x"), static_cast<qint64>(sample->x)},
                       {QStringLiteral("y"), static_cast<qint64>(sample->y)},
                       {QStringLiteral("channel"), sample->channel},
                       {QStringLiteral("a"), sample->a},
                       {QStringLiteral("b"), sample->b}};
}

QJsonObject json(const QString& a, const QString& b, const MovieDifferences& differences)
{
    QJsonObject pixels = json(differences.samples);
    pixels.insert(QStringLiteral("frames_compared"), static_cast<qint64>(differences.framesCompared));
    pixels.insert(QStringLiteral("frames_differing"), static_cast<qint64>(differences.framesDiffering));
    pixels.insert(QStringLiteral("first_sample"), json(differences.firstSample));
    pixels.insert(QStringLiteral("first"),
                  differences.firstFrame ? QJsonValue(static_cast<qint64>(*differences.firstFrame)) : QJsonValue());
    return {{QStringLiteral("a"), a},
            {QStringLiteral("b"), b},
            {QStringLiteral("identical"), differences.none()},
            {QStringLiteral("structure"), json(differences.structure)},
            {QStringLiteral("attributes"), json(differences.attributes)},
            {QStringLiteral("times"), json(differences.times)},
            {QStringLiteral("laser_powers"), json(differences.laserPowers)},
            {QStringLiteral("fibers"), json(differences.fibers)},
            {QStringLiteral("pixels"), pixels}};
}

ExitCode runDiff(const DiffArguments& arguments)
{
    const QString a = QString::fromStdString(arguments.a);
    const QString b = QString::fromStdString(arguments.b);
    MovieDifferences differences;
    {
        ProgressLine progress;
        differences = movietools::compareMovies(a, b, progress.callback());
    }
    if (arguments.json || settings().json)
        printJson(QStringLiteral("vqf.diff"), 1, json(a, b, differences));
    else
        tellDifferences(a, b, differences);
    return differences.none() ? ExitCode::Done : different;
}

} // namespace

Command addDiffCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("diff", "Tell what two movies differ in");
    auto arguments = std::make_shared<DiffArguments>();
    syntax.option("A", arguments->a, "A movie").required();
    syntax.option("B", arguments->b, "Another one").required();
    syntax.flag("--json", arguments->json, "One JSON object");
    syntax.footer(notes);
    return {syntax, [arguments] { return runDiff(*arguments); }, trouble};
}

} // namespace zd::tool
