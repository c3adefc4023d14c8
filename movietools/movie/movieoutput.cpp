#include <movietools/movie/movieoutput_p.h>

#include <common/iofileexception.h>
#include <libdataio/imagewriter.h>
#include <libdataio/recordingremains.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/movieedit.h>

namespace zd::movietools {

namespace {

std::optional<MovieLock> lockReplaced(const QString& path, bool replace)
{
    if (!replace || OutputFile::isStandardOutput(path))
        return std::nullopt;
    return lockMovie(path);
}

} // namespace

MovieOutput::MovieOutput(const QString& path, bool replace, const QStringList& inputs)
    : m_replaced(lockReplaced(path, replace)),
      m_file(path, replace ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse, inputs, moviePermissions)
{
}

void MovieOutput::commit()
{
    if (!OutputFile::isStandardOutput(path()))
        removeRemains();
    m_file.commit();
}

// Before the new movie has the name, which they would seem to belong to.
void MovieOutput::removeRemains() const
{
    try {
        if (m_replaced)
            ImageWriter::undoInterruptedEdit(path(), *m_replaced);
    } catch (const IOFileException& failure) {
        throw jobError(failure, path());
    }
    RecordingRemains::remove(path());
}

} // namespace zd::movietools
