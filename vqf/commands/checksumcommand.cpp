#include <vqf/commands/command.h>

#include <movietools/verify/addchecksums.h>
#include <vqf/arguments/editarguments.h>
#include <vqf/console/console.h>
#include <vqf/console/progressline.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
"add" stores a checksum of every frame and one of the side data in the header attribute plug_checksums; "vqf verify"
compares them from then on. Editing frames or side data makes them wrong: add them anew with --replace. A movie that
does not agree with the checksums it has is left alone without --replace, for it may be damaged.

Examples:
  vqf checksum add cells.vqf
  vqf checksum add --replace edited.vqf)";

struct ChecksumArguments {
    std::string action;
    std::vector<std::string> movies;
    bool replace = false;
    EditArguments edit;
};

QString outcomeText(movietools::ChecksumsAdded outcome)
{
    switch (outcome) {
    case movietools::ChecksumsAdded::Added:
        return QStringLiteral("checksums added");
    case movietools::ChecksumsAdded::Replaced:
        return QStringLiteral("checksums replaced");
    default:
        return QStringLiteral("has these checksums already");
    }
}

ExitCode runChecksum(const ChecksumArguments& arguments)
{
    ExitCode code = ExitCode::Done;
    for (const std::string& movie : arguments.movies) {
        const QString path = QString::fromStdString(movie);
        try {
            movietools::ChecksumsAdded outcome{};
            arguments.edit.whenFree([&] {
                ProgressLine progress;
                outcome = movietools::addChecksums(path, arguments.replace, progress.callback(),
                                                   arguments.edit.withoutJournal());
            });
            tell(QStringLiteral("%1: %2").arg(escaped(path), outcomeText(outcome)));
        } catch (const movietools::JobError& error) {
            complain(error);
            code = ExitCode::Failed;
        }
    }
    return code;
}

} // namespace

Command addChecksumCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("checksum", "Give movies checksums of their frames");
    auto arguments = std::make_shared<ChecksumArguments>();
    syntax.option("ACTION", arguments->action, "add").required().oneOf({"add"}).typeName("");
    syntax.option("MOVIE", arguments->movies, "The movies to change").required();
    syntax.flag("--replace", arguments->replace, "Replace checksums that do not agree");
    arguments->edit.addTo(syntax);
    syntax.footer(notes);
    syntax.addToFooter(editNote);
    return {syntax, [arguments] { return runChecksum(*arguments); }};
}

} // namespace zd::tool
