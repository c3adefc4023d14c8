#include <vqf/commands/command.h>

#include <movietools/job/wording.h>
#include <movietools/recover/recover.h>
#include <vqf/arguments/attributeargument.h>
#include <vqf/arguments/outputargument.h>
#include <vqf/console/console.h>
#include <vqf/console/progressline.h>
#include <vqf/console/settings.h>
#include <vqf/console/verificationtext.h>

#include <QJsonArray>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

using movietools::HeaderOrigin;
using movietools::RecoverOptions;
using movietools::RecoverResult;

constexpr const char* notes = R"(
Keeps every complete frame, in the order of the index where there is one, with times, laser powers and fibre centres
as far as they are left. The header comes from the movie, else from the log, journal or extended attribute that its
recording or edit left; --like, --attr and guesses fill in what is missing to read the frames. Guessed values are
named in the attribute plug_recovery_guess.

The movie itself is not changed; the output appears when it is complete and verified. With --in-place an edit that
died is undone, or a torn end is cut off and a new one written: not while the movie is being recorded.

Exit codes: 0 nothing was lost, 3 something was, 1 nothing could be recovered.

Examples:
  vqf recover dead.vqf -o recovered.vqf
  vqf recover dead.vqf -o recovered.vqf --like yesterday.vqf
  vqf recover dead.vqf -o recovered.vqf --attr width=576 --attr height=576 --attr pixtype=5 --attr pixbits=16)";

struct RecoverArguments {
    std::string movie;
    MovieOutputArgument output;
    bool inPlace = false;
    std::string like;
    std::vector<std::string> attributes;
    bool json = false;
};

RecoverOptions optionsOf(const RecoverArguments& arguments)
{
    if (arguments.output.isGiven() == arguments.inPlace)
        throw UsageError{"name the movie to make with -o, or change this one with --in-place"};
    RecoverOptions options;
    options.movie = QString::fromStdString(arguments.movie);
    options.output = arguments.output.path();
    options.replace = arguments.output.replaces();
    options.inPlace = arguments.inPlace;
    options.like = QString::fromStdString(arguments.like);
    for (const std::string& attribute : arguments.attributes)
        options.attributes.push_back(attributeArgument(attribute));
    return options;
}

struct OriginWords {
    HeaderOrigin origin;
    const char* name; // for programs
    const char* text; // for people
};

constexpr OriginWords originWords[] = {
    {HeaderOrigin::Nowhere, "none", "not found"},
    {HeaderOrigin::Movie, "movie", "the movie's own"},
    {HeaderOrigin::RecordingLog, "recording-log", "from the log of the recording"},
    {HeaderOrigin::EditJournal, "edit-journal", "from the journal of the edit"},
    {HeaderOrigin::ExtendedAttribute, "extended-attribute", "from the file's extended attribute"},
    {HeaderOrigin::DamagedMovie, "damaged-movie", "what is left of one in the movie"},
    {HeaderOrigin::OtherMovie, "other-movie", "from the movie named by --like"},
    {HeaderOrigin::Arguments, "arguments", "from --attr"},
};

const OriginWords& wordsFor(HeaderOrigin origin)
{
    for (const OriginWords& words : originWords)
        if (words.origin == origin)
            return words;
    return originWords[0];
}

void printField(const char* name, const QString& value)
{
    print(QStringLiteral("  %1 %2\n").arg(QLatin1StringView(name), -13).arg(escaped(value)));
}

void printResult(const RecoverResult& result)
{
    print(QStringLiteral("%1: %2 frames (%3)%4\n")
              .arg(escaped(result.verification.path))
              .arg(result.frames)
              .arg(movietools::sizeText(result.verification.bytes),
                   result.wasSound ? QStringLiteral("; the movie was sound") : QString()));
    printField("header", QLatin1StringView(wordsFor(result.header).text));
    if (!result.guessed.isEmpty())
        printField("guessed", result.guessed.join(QStringLiteral(", ")));
    printField("times", QString::number(result.times));
    printField("laser powers", QString::number(result.laserPowers));
    printField("fibres", QString::number(result.fibers));
    if (result.mendedChunks > 0)
        printField("mended", QStringLiteral("chunks with a damaged header: %1").arg(result.mendedChunks));
    if (result.unlistedFrames > 0)
        printField("found", QStringLiteral("frames that no index listed: %1").arg(result.unlistedFrames));
    for (const QString& loss : result.losses)
        printField("lost", loss);
    if (result.verification.condition != movietools::Condition::Sound)
        printField("result", QStringLiteral("has contradictions left: see \"vqf verify\""));
}

QJsonObject json(const RecoverResult& result)
{
    const auto number = [](auto value) { return static_cast<qint64>(value); };
    return {{QStringLiteral("was_sound"), result.wasSound},
            {QStringLiteral("complete"), result.isComplete()},
            {QStringLiteral("frames"), number(result.frames)},
            {QStringLiteral("lost_frames"), number(result.lostFrames)},
            {QStringLiteral("unlisted_frames"), number(result.unlistedFrames)},
            {QStringLiteral("mended_chunks"), number(result.mendedChunks)},
            {QStringLiteral("torn_bytes"), number(result.tornBytes)},
            {QStringLiteral("skipped_bytes"), number(result.skippedBytes)},
            {QStringLiteral("header"), QLatin1StringView(wordsFor(result.header).name)},
            {QStringLiteral("guessed"), QJsonArray::fromStringList(result.guessed)},
            {QStringLiteral("times"), number(result.times)},
            {QStringLiteral("laser_powers"), number(result.laserPowers)},
            {QStringLiteral("fibers"), number(result.fibers)},
            {QStringLiteral("losses"), QJsonArray::fromStringList(result.losses)},
            {QStringLiteral("result"), verificationJson(result.verification)}};
}

ExitCode runRecover(const RecoverArguments& arguments)
{
    const RecoverOptions options = optionsOf(arguments);
    RecoverResult result;
    arguments.output.whenFree([&] {
        ProgressLine progress;
        result = recoverMovie(options, progress.callback());
    });
    if (arguments.json || settings().json)
        printJson(QStringLiteral("vqf.recover"), 1, json(result));
    else
        printResult(result);
    return result.isComplete() ? ExitCode::Done : ExitCode::SomethingLost;
}

} // namespace

Command addRecoverCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("recover", "Put a dead or damaged movie together again");
    auto arguments = std::make_shared<RecoverArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to recover").required();
    arguments->output.addTo(syntax);
    syntax.flag("--in-place", arguments->inPlace, "Change the movie itself");
    syntax.option("--like", arguments->like, "A movie of the same kind, for a header that is lost").typeName("MOVIE");
    syntax.option("--attr", arguments->attributes, "A header value that the movie does not tell")
        .typeName("NAME=VALUE")
        .oneValueEach();
    syntax.flag("--json", arguments->json, "One JSON object");
    syntax.footer(notes);
    return {syntax, [arguments] { return runRecover(*arguments); }};
}

} // namespace zd::tool
