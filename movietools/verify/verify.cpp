#include <movietools/verify/verify.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <libdataio/recordingremains.h>
#include <movietools/verify/verifychecks_p.h>

#include <algorithm>

namespace zd::movietools {

namespace {

// Opens the movie as every program does. Returns the number of frames, or -1.
int openAsReader(const QString& path, Findings& findings)
{
    try {
        ImageReader reader(path);
        return reader.nbFrames();
    } catch (const IOFileException& report) {
        findings.add({QStringLiteral("cannot-be-opened"), Severity::Error, Finding::nowhere,
                      QStringLiteral("a movie that opens"),
                      QStringLiteral("%1 [%2]").arg(report.message(), report.code()),
                      QStringLiteral("recover it into a new file")});
        return -1;
    }
}

Condition conditionOf(bool opens, const Findings& findings)
{
    if (!opens)
        return Condition::NotReadable;
    const bool sound = !findings.has(Severity::Error) && !findings.has(Severity::Warning);
    return sound ? Condition::Sound : Condition::DamagedButReadable;
}

} // namespace

Verification verifyMovie(const QString& path, const ProgressCallback& progress)
{
    const FileBytes bytes(path);
    const MovieContent movie(bytes);

    Verification result;
    result.path = path;
    result.bytes = static_cast<std::uint64_t>(bytes.length());
    result.chunks = static_cast<std::uint64_t>(std::count_if(movie.pieces.begin(), movie.pieces.end(),
                                                             [](const WalkedPiece& piece) { return piece.isWhole(); }));
    const int frames = openAsReader(path, result.findings);
    result.frames = static_cast<std::uint64_t>(std::max(frames, 0));
    checkStructure(movie, result.findings);
    if (movie.infoChunk) {
        checkIndex(movie, result.findings);
        checkHeaderText(movie, result.findings);
        checkHeaderValues(movie, result.findings);
        checkSideData(movie, result.findings);
        result.framesWithChecksum = checkChecksums(movie, result.findings, progress);
    }
    checkLeftovers(path, result.findings);
    result.condition = conditionOf(frames >= 0, result.findings);
    return result;
}

void checkLeftovers(const QString& path, Findings& findings)
{
    const RecordingRemains remains = RecordingRemains::of(path);
    const auto add = [&](bool found, const char* name, const char* what, const char* advice) {
        if (found)
            findings.add(name, Severity::Note, Finding::nowhere, QStringLiteral("nothing"), QString::fromLatin1(what),
                         advice);
    };
    add(remains.editGoesOn, "edit-going-on", "an edit that another program has begun", "verify again when it is done");
    add(remains.hasJournal && !remains.editGoesOn, "left-over-journal", "the journal of an edit beside the movie",
        remains.before.empty() ? "the movie is whole: the next edit removes it"
                               : "the edit never ended: the next edit or a recovery undoes it");
    add(remains.hasLog, "left-over-log", "the log of a recording beside the movie",
        "recover the movie if its recording was cut off");
    add(remains.hasExtendedAttribute, "left-over-header", "the header of a recording in an extended attribute",
        "recover the movie if its recording was cut off");
}

QString conditionText(Condition condition)
{
    switch (condition) {
    case Condition::Sound:
        return QStringLiteral("sound");
    case Condition::DamagedButReadable:
        return QStringLiteral("damaged but readable");
    default:
        return QStringLiteral("not readable");
    }
}

} // namespace zd::movietools
