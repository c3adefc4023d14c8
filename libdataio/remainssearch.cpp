#include <libdataio/recordingremains.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/chunkinfo.h>
#include <libdataio/editjournal_p.h>
#include <libdataio/foundjournal_p.h>
#include <libdataio/recordinglog_p.h>
#include <libdataio/report_p.h>

#include <common/iofileexception.h>

#include <fcntl.h>

namespace zd {

namespace {

/// Adds what a journal beside the movie says: the movie as it was, unless it is whole, and its header when none was found yet.
void addJournal(RecordingRemains& remains, const FoundJournal& journal)
{
    remains.hasJournal = journal.isOurs();
    remains.editGoesOn = journal.state() == FoundJournal::State::InUse;
    if (journal.state() != FoundJournal::State::Torn)
        return;
    const JournalContent& content = *journal.content();
    remains.before.push_back({content.tailStart, content.tail});
    for (const JournalContent::Piece& piece : content.pieces)
        remains.before.push_back({piece.offset, content.bytesOf(piece, journal.descriptor())});
    const QByteArray info = content.oldInfo();
    if (remains.headerSource != RecordingRemains::HeaderSource::None || info.isEmpty())
        return;
    ChunkInfo record;
    record.load(info.constData(), static_cast<unsigned int>(info.size()));
    record.dump(remains.headerText);
    remains.headerSource = RecordingRemains::HeaderSource::EditJournal;
}

} // namespace

RecordingRemains RecordingRemains::of(const QString& movie)
{
    RecordingRemains remains;
    try {
        remains = RecordingLog::contentOf(movie);
    } catch (const IOFileException&) {
        // What cannot be read counts as absent.
    }
    const Descriptor file(openFile(report::systemPath(movie).constData(), O_RDONLY | O_NONBLOCK, 0));
    try {
        if (file)
            addJournal(remains, FoundJournal(movie, file.get(), FoundJournal::Purpose::Look));
    } catch (const IOFileException&) {
        // The same.
    }
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
