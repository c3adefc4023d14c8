#include <fuzz/moviefile.h>
#include <fuzz/require.h>
#include <fuzz/script.h>

#include <libdataio/imagereader.h>
#include <movietools/joberror.h>
#include <movietools/recover.h>

namespace zd::fuzz {

namespace {

using movietools::RecoverOptions;
using movietools::Verification;

constexpr std::uint32_t longestBeside = 4096;

/// Whether there was something to recover. A result that recovery itself rejects is a finding.
bool recover(const QString& movie, const QString& output, bool inPlace)
{
    RecoverOptions options;
    options.movie = movie;
    options.output = output;
    options.inPlace = inPlace;
    try {
        recoverMovie(options);
        return true;
    } catch (const movietools::JobError& error) {
        require(!error.problem.startsWith(QLatin1StringView("could not be recovered")),
                error.problem.toUtf8().constData());
        return false;
    }
}

void requireWhole(const QString& path)
{
    require(codeOf({}, [&] { ImageReader reader(path); }).empty(), "a result that opens");
    const Verification verification = movietools::verifyMovie(path);
    for (const movietools::Finding& finding : verification.findings.list())
        require(finding.severity != movietools::Severity::Error || finding.name.startsWith(u"checksum-"),
                finding.name.toUtf8().constData());
}

} // namespace

void recoverFile(Input input)
{
    Script script(input);
    const char* const besides[] = {"", "-log", "-journal"};
    const char* beside = besides[script.below(3)];
    const Input besideContent = script.take(*beside == '\0' ? 0 : script.word() % longestBeside);
    MovieFile& file = MovieFile::instance();
    file.write(script.rest());
    if (*beside != '\0')
        file.writeBeside(beside, besideContent);
    const std::string before = file.read();

    const QString recovered = file.path() + QStringLiteral(".recovered");
    if (recover(file.path(), recovered, false)) {
        requireWhole(recovered);
        require(recover(recovered, file.path() + QStringLiteral(".again"), false),
                "a recovered movie can be recovered");
        require(file.read(".again") == file.read(".recovered"), "a recovered movie needs no recovery");
    }
    require(file.read() == before, "recovery into a new file leaves the old one alone");
    if (recover(file.path(), QString(), true))
        requireWhole(file.path());
    else
        require(file.read() == before, "a movie that cannot be mended in place is left alone");
}

} // namespace zd::fuzz
