#include <python/core/jobs.h>

#include <movietools/recover/recover.h>
#include <movietools/verify/verify.h>
#include <python/core/textcaster.h>

#include <pybind11/stl.h>

#include <map>

namespace zd::python {

namespace py = pybind11;
using namespace py::literals;
using movietools::HeaderOrigin;

namespace {

/// Calls a Python function with the frames done and their total. What it raises, or an interruption by the keyboard,
/// ends the job.
movietools::ProgressCallback callbackFor(const py::object& function)
{
    return [&function](const movietools::Progress& progress) {
        const py::gil_scoped_acquire python;
        if (PyErr_CheckSignals() != 0)
            throw py::error_already_set();
        if (!function.is_none())
            function(progress.framesDone, progress.framesTotal);
        return true;
    };
}

py::list textList(const QStringList& texts)
{
    py::list list;
    for (const QString& text : texts)
        list.append(text);
    return list;
}

py::tuple findingTuple(const movietools::Finding& finding)
{
    const py::object offset =
        finding.offset == movietools::Finding::nowhere ? py::object(py::none()) : py::int_(finding.offset);
    return py::make_tuple(finding.name, severityText(finding.severity), offset, finding.expected, finding.found,
                          finding.advice);
}

const char* conditionName(movietools::Condition condition)
{
    switch (condition) {
    case movietools::Condition::Sound:
        return "sound";
    case movietools::Condition::DamagedButReadable:
        return "damaged";
    case movietools::Condition::NotReadable:
        break;
    }
    return "unreadable";
}

py::dict verificationDict(const movietools::Verification& verification)
{
    py::list findings;
    for (const movietools::Finding& finding : verification.findings.list())
        findings.append(findingTuple(finding));
    py::dict counts;
    for (const auto& [name, count] : verification.findings.counts())
        counts[py::cast(name)] = count;
    return py::dict("condition"_a = conditionName(verification.condition), "bytes"_a = verification.bytes,
                    "chunks"_a = verification.chunks, "frames"_a = verification.frames,
                    "frames_with_checksum"_a = verification.framesWithChecksum, "findings"_a = findings,
                    "counts"_a = counts);
}

const char* headerName(HeaderOrigin origin)
{
    static const std::map<HeaderOrigin, const char*> names{
        {HeaderOrigin::Nowhere, "none"},
        {HeaderOrigin::Movie, "movie"},
        {HeaderOrigin::RecordingLog, "recording-log"},
        {HeaderOrigin::EditJournal, "edit-journal"},
        {HeaderOrigin::ExtendedAttribute, "extended-attribute"},
        {HeaderOrigin::DamagedMovie, "damaged-movie"},
        {HeaderOrigin::OtherMovie, "other-movie"},
        {HeaderOrigin::Arguments, "arguments"},
    };
    return names.at(origin);
}

py::dict verify(const QString& path, const py::object& progress)
{
    const movietools::ProgressCallback callback = callbackFor(progress);
    movietools::Verification verification;
    {
        const py::gil_scoped_release othersRun;
        verification = movietools::verifyMovie(path, callback);
    }
    return verificationDict(verification);
}

py::dict recover(const QString& path, const QString& output, bool inPlace, bool replace, const QString& like,
                 const std::vector<std::pair<QString, QString>>& attributes, const py::object& progress)
{
    const movietools::RecoverOptions options{path, output, replace, inPlace, like, attributes};
    const movietools::ProgressCallback callback = callbackFor(progress);
    movietools::RecoverResult result;
    {
        const py::gil_scoped_release othersRun;
        result = movietools::recoverMovie(options, callback);
    }
    return py::dict("was_sound"_a = result.wasSound, "frames"_a = result.frames, "lost_frames"_a = result.lostFrames,
                    "unlisted_frames"_a = result.unlistedFrames, "mended_chunks"_a = result.mendedChunks,
                    "torn_bytes"_a = result.tornBytes, "skipped_bytes"_a = result.skippedBytes,
                    "header"_a = headerName(result.header), "guessed"_a = textList(result.guessed),
                    "times"_a = result.times, "laser_powers"_a = result.laserPowers, "fibers"_a = result.fibers,
                    "losses"_a = textList(result.losses), "verification"_a = verificationDict(result.verification));
}

} // namespace

void defineJobs(py::module_& module)
{
    module.def("verify", &verify, "path"_a, "progress"_a);
    module.def("recover", &recover, "path"_a, "output"_a, "in_place"_a, "replace"_a, "like"_a, "attributes"_a,
               "progress"_a);
}

} // namespace zd::python
