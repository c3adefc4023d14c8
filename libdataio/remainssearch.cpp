#include <libdataio/recordingremains.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/editjournal_p.h>
#include <libdataio/recordinglog_p.h>
#include <libdataio/report_p.h>

#include <common/iofileexception.h>

#include <fcntl.h>

namespace zd {

RecordingRemains RecordingRemains::of(const QString& movie)
{
    RecordingRemains remains;
    try {
        remains = RecordingLog::contentOf(movie);
    } catch (const IOFileException&) {
        // What cannot be read counts as absent.
    }
    try {
        EditJournal::addTo(remains, movie);
    } catch (const IOFileException&) {
        // The same.
    }
    const Descriptor file(openFile(report::systemPath(movie).constData(), O_RDONLY | O_NONBLOCK, 0));
    const QByteArray text = file ? keptHeader(file.get()) : QByteArray();
    remains.hasExtendedAttribute = !text.isEmpty();
    if (remains.hasExtendedAttribute && remains.headerSource == HeaderSource::None) {
        remains.headerText = QString::fromLatin1(text);
        remains.headerSource = HeaderSource::ExtendedAttribute;
    }
    return remains;
}

void RecordingRemains::remove(const QString& movie)
{
    RecordingLog::discard(movie);
    EditJournal::discard(movie);
    if (movie.contains(QChar::Null))
        return;
    const Descriptor file(openFile(report::systemPath(movie).constData(), O_RDONLY | O_NONBLOCK, 0));
    if (file)
        dropHeader(file.get());
}

} // namespace zd
