#include <movietools/splice/movieoutput_p.h>

#include <libdataio/recordingremains.h>

namespace zd::movietools {

std::unique_ptr<OutputFile> openMovieOutput(const MovieTarget& target, const QStringList& inputs)
{
    const auto existing = target.replace ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse;
    return std::make_unique<OutputFile>(target.path, existing, inputs, moviePermissions);
}

MadeMovie finishMovie(OutputFile& output, const MovieCopy& copy)
{
    output.commit();
    if (!OutputFile::isStandardOutput(output.path()))
        RecordingRemains::remove(output.path()); // those of a movie that had this name before
    return {output.path(), copy.frames(), copy.bytes()};
}

} // namespace zd::movietools
