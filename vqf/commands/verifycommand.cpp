#include <vqf/commands/command.h>

#include <movietools/verify/verify.h>
#include <vqf/console/console.h>
#include <vqf/console/progressline.h>
#include <vqf/console/settings.h>
#include <vqf/console/verificationtext.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Holds chunks, index, header and side data against each other and tells what contradicts. Errors are what "vqf recover"
mends; notes do not make a movie damaged. A changed pixel, time or laser power is found only in movies that have
checksums (see "vqf checksum").

Exit codes: 0 sound, 3 damaged but readable, 1 not readable. Of several movies the worst counts.

Examples:
  vqf verify cells.vqf
  vqf verify *.vqf --json)";

struct VerifyArguments {
    std::vector<std::string> movies;
    bool json = false;
};

ExitCode exitCodeOf(movietools::Condition condition)
{
    switch (condition) {
    case movietools::Condition::Sound:
        return ExitCode::Done;
    case movietools::Condition::DamagedButReadable:
        return ExitCode::SomethingLost;
    default:
        return ExitCode::Failed;
    }
}

ExitCode worse(ExitCode a, ExitCode b)
{
    return a == ExitCode::Failed || b == ExitCode::Failed ? ExitCode::Failed : std::max(a, b);
}

ExitCode verifyOne(const QString& path, bool json)
{
    movietools::Verification verification;
    try {
        ProgressLine progress;
        verification = movietools::verifyMovie(path, progress.callback());
    } catch (const movietools::JobError& error) {
        complain(error);
        return ExitCode::Failed;
    }
    if (json)
        printJson(QStringLiteral("vqf.verify"), 1, verificationJson(verification));
    else
        printVerification(verification);
    return exitCodeOf(verification.condition);
}

ExitCode runVerify(const VerifyArguments& arguments)
{
    const bool json = arguments.json || settings().json;
    ExitCode code = ExitCode::Done;
    for (const std::string& path : arguments.movies)
        code = worse(code, verifyOne(QString::fromStdString(path), json));
    return code;
}

} // namespace

Command addVerifyCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("verify", "Examine movies for damage");
    auto arguments = std::make_shared<VerifyArguments>();
    syntax.option("MOVIE", arguments->movies, "The movies to examine").required();
    syntax.flag("--json", arguments->json, "One JSON object for each movie, in one line");
    syntax.footer(notes);
    return {syntax, [arguments] { return runVerify(*arguments); }};
}

} // namespace zd::tool
