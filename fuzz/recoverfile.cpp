#include <fuzz/moviefile.h>
#include <fuzz/require.h>
#include <fuzz/script.h>

#include <libdataio/imagereader.h>
#include <movietools/job/joberror.h>
#include <movietools/recover/recover.h>

namespace zd::fuzz {

namespace {

using movietools::RecoverOptions;
using movietools::Verification;

constexpr std::uint32_t longestBeside = 4096;

/// The problem that stops a recovery, empty when there is none.
QString problemOf(const RecoverOptions& options)
{
    try {
        recoverMovie(options);
        return {};
    } catch (const movietools::JobError& error) {
        return error.problem;
    }
}

/// Whether there was something to recover. A result that recovery itself rejects is a finding.
bool recover(const QString& movie, const QString& output)
{
    RecoverOptions options;
    options.movie = movie;
    options.output = output;
    const QString problem = problemOf(options);
    require(!problem.startsWith(QLatin1StringView("could not be recovered")), problem.toUtf8().constData());
    return problem.isEmpty();
}

bool recoverInPlace(const QString& movie)
{
    RecoverOptions options;
    options.movie = movie;
    options.inPlace = true;
    return problemOf(options).isEmpty();
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
    if (recover(file.path(), recovered)) {
        requireWhole(recovered);
        require(recover(recovered, file.path() + QStringLiteral(".again")), "a recovered movie can be recovered");
        require(file.read(".again") == file.read(".recovered"), "a recovered movie needs no recovery");
    }
    require(file.read() == before, "recovery into a new file leaves the old one alone");
    // An edit is undone although the movie may have been damaged before it.
    const bool undoable = beside == besides[2];
    if (recoverInPlace(file.path()))
        requireWhole(file.path());
    else
        require(undoable || file.read() == before, "a movie that cannot be mended in place is left alone");
}

} // namespace zd::fuzz
