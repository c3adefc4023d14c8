#include <movietools/recover/recover.h>

#include <common/iofileexception.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/imagewriter.h>
#include <libdataio/recordingremains.h>
#include <movietools/files/bytesource.h>
#include <movietools/job/joberror.h>
#include <movietools/job/wording.h>
#include <movietools/movie/movieedit.h>
#include <movietools/movie/movieoutput_p.h>
#include <movietools/recover/recoveryplan_p.h>
#include <movietools/recover/recoverywriter_p.h>

#include <optional>

namespace zd::movietools {

namespace {

std::optional<MovieLock> lockWhatChanges(const RecoverOptions& options)
{
    return options.inPlace ? std::optional(lockMovie(options.movie)) : std::nullopt;
}

/// One recovery, from the first look at the movie to the verified result.
class Recovery {
public:
    Recovery(const RecoverOptions& options, const ProgressCallback& progress)
        : m_options(options),
          m_progress(progress),
          m_lock(lockWhatChanges(options)),
          m_bytes(options.movie),
          m_remains(RecordingRemains::of(options.movie))
    {
    }

    RecoverResult run();

private:
    void requireNoEdit() const;
    void showMovieBeforeEdit();
    RecoverResult intoNewFile(const RecoveryPlan& plan);
    RecoverResult inPlace(const RecoveryPlan& plan);
    bool undoEdit() const;
    RecoverResult undoneEdit(const RecoveryPlan& plan) const;
    void requireFits(const RecoveryPlan& plan) const;
    void verify(const QString& path, RecoverResult& result) const;

    const RecoverOptions& m_options;
    const ProgressCallback& m_progress;
    const std::optional<MovieLock> m_lock; // of a movie that is changed in place
    FileBytes m_bytes;
    RecordingRemains m_remains;
};

RecoverResult Recovery::run()
{
    requireNoEdit();
    const bool wasSound = verifyMovie(m_options.movie).condition == Condition::Sound;
    showMovieBeforeEdit();
    const RecoverySurvey survey(m_bytes, m_remains);
    const RecoveryPlan plan = planRecovery(survey, m_remains, m_options);
    requireFits(plan);
    RecoverResult result = m_options.inPlace ? inPlace(plan) : intoNewFile(plan);
    result.wasSound = wasSound;
    return result;
}

void Recovery::requireNoEdit() const
{
    if (m_remains.editGoesOn)
        refuse(m_options.movie, QStringLiteral("is being edited right now"),
               QStringLiteral("wait until the other program has closed it"));
}

// Frames that a dead edit replaced count as they were, like everything that its journal brings back. What the edit
// appended stays.
void Recovery::showMovieBeforeEdit()
{
    std::int64_t tail = m_remains.before.empty() ? 0 : m_remains.before.front().offset;
    for (std::size_t i = 1; i < m_remains.before.size(); ++i) {
        const RecordingRemains::Piece& piece = m_remains.before[i];
        if (piece.offset + piece.bytes.size() <= tail)
            m_bytes.overlay(piece.offset, piece.bytes);
    }
}

void Recovery::requireFits(const RecoveryPlan& plan) const
{
    const auto bytes = static_cast<std::uint64_t>(plan.bytes());
    if (bytes > layout::largestSizeLimit)
        refuse(m_options.movie,
               QStringLiteral("holds %1, more than the index of a movie can reach").arg(sizeText(bytes)),
               QStringLiteral("split the file between two chunks and recover its parts"));
}

// The movie at `path` must open with all frames and without errors, but for proved changes of content, which no
// recovery mends.
void Recovery::verify(const QString& path, RecoverResult& result) const
{
    result.verification = verifyMovie(path);
    result.verification.path = m_options.inPlace ? m_options.movie : m_options.output;
    const auto refuseResult = [this](const QString& what) {
        refuse(m_options.movie, QStringLiteral("could not be recovered: the result ") + what,
               QStringLiteral("keep the movie as it is and report this"));
    };
    if (result.verification.condition == Condition::NotReadable || result.verification.frames != result.frames)
        refuseResult(QStringLiteral("does not hold all frames"));
    for (const Finding& finding : result.verification.findings.list()) {
        if (finding.severity != Severity::Error)
            continue;
        if (!finding.name.startsWith(QLatin1StringView("checksum-")))
            refuseResult(QStringLiteral("has an error (%1)").arg(finding.name));
        result.losses.append(
            QStringLiteral("what its checksum proves: %1 at byte %2").arg(finding.name).arg(finding.offset));
    }
}

RecoverResult Recovery::intoNewFile(const RecoveryPlan& plan)
{
    RecoverResult result = plan.outcome;
    QStringList inputs{m_options.movie};
    if (!m_options.like.isEmpty())
        inputs.append(m_options.like);
    MovieOutput output(m_options.output, m_options.replace, inputs);
    const QString& workPath = output.file().workPath();
    output.file().requireRoom(static_cast<std::uint64_t>(plan.bytes()));
    try {
        writeRecovered(plan, m_bytes, workPath, m_progress);
    } catch (const IOFileException& failure) {
        throw jobError(failure, output.path(), workPath);
    }
    verify(workPath, result);
    output.commit();
    return result;
}

RecoverResult Recovery::inPlace(const RecoveryPlan& plan)
{
    if (undoEdit())
        return undoneEdit(plan);
    if (!m_remains.before.empty())
        refuse(m_options.movie, QStringLiteral("has the journal of an edit that cannot be undone"),
               QStringLiteral("recover it into a new file"));
    RecoverResult result = plan.outcome;
    writeRecoveredInPlace(plan, m_bytes, m_options.movie);
    RecordingRemains::remove(m_options.movie);
    verify(m_options.movie, result);
    return result;
}

// The library does that before its next edit as well. Frames that the edit had appended go into a movie of their own. A
// journal that cannot be read fails here, and stays.
bool Recovery::undoEdit() const
{
    try {
        return ImageWriter::undoInterruptedEdit(m_options.movie, *m_lock);
    } catch (const IOFileException& failure) {
        throw jobError(failure, m_options.movie);
    }
}

// As before the edit: what the survey has found besides lies in a movie of its own, or belonged to none.
RecoverResult Recovery::undoneEdit(const RecoveryPlan& plan) const
{
    RecoverResult result = plan.outcome;
    result.frames = verifyMovie(m_options.movie).frames;
    verify(m_options.movie, result);
    return result;
}

} // namespace

RecoverResult recoverMovie(const RecoverOptions& options, const ProgressCallback& progress)
{
    return Recovery(options, progress).run();
}

} // namespace zd::movietools
