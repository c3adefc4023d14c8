#include <libdataio/imagewriter_p.h>

#include <libdataio/editjournal_p.h>
#include <libdataio/fdchunkwriter.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/report_p.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.imagewriter"));

void warnOfDanger(const QString& movie, EditProtection protection)
{
    const char* reason = protection == EditProtection::NoFolder
                             ? "no journal can be made in its folder"
                             : "what is called like its journal is another file, or cannot be trusted";
    report::note(
        logger, LogLevel::getWarning(), "IW_EDIT_UNPROTECTED",
        [&] {
            return QStringLiteral("File %1 is edited without protection against a crash: %2.")
                .arg(movie, QString::fromLatin1(reason));
        },
        DATAIO_HERE);
}

} // namespace

void ImageWriter::Private::clear(bool autotime)
{
    lists.clear(autotime);
    header.clear();
    tail.reset(0);
    room.checkAgain();
    aids.reset();
    edit.endWasCut();
    protection = EditProtection::None;
    nameSettled = false;
}

void ImageWriter::Private::openFile(const QString& movie, FileWriterMode mode)
{
    const std::optional<FileIdentity> lockedAlready = heldLock.keep();
    try {
        file._open(movie, mode, locking && processLocks(), lockedAlready);
    } catch (...) {
        heldLock.letGo();
        throw;
    }
}

void ImageWriter::Private::closeFile()
{
    file.closeFile();
    heldLock.letGo();
}

std::optional<std::int64_t> ImageWriter::Private::frameSize()
{
    const std::optional<std::int64_t> size = header.recordedFrameSize();
    return size && *size >= 0 && static_cast<std::uint64_t>(*size) <= room.limit() ? size : std::nullopt;
}

bool ImageWriter::Private::stepBackOver(int type)
{
    const auto typeWord = static_cast<unsigned int>(type);
    if (!file.prevChunk(typeWord))
        return false;
    if (!file.isPayloadWhole())
        FDChunkWriter::reportShortPayload();
    file.requireChunk(file.offset(), typeWord, static_cast<unsigned int>(file.chunkSize()));
    return true;
}

void ImageWriter::Private::undoDeadEdit(const QString& movie)
{
    if (EditJournal::restore(movie, file.descriptor()) == EditJournal::Restored::InUse)
        FileWriter::_reportBusy(movie);
}

void ImageWriter::Private::beginEdit(const QString& movie)
{
    protection = edit.begin(movie, file);
    if (protection == EditProtection::NoFolder || protection == EditProtection::ForeignJournal)
        warnOfDanger(movie, protection);
    // Without a journal the header is kept at least, as it is while a movie is recorded.
    if (protection != EditProtection::Journal)
        aids.keepHeader(file.descriptor(), header);
}

void ImageWriter::Private::abandonEdit() noexcept
{
    if (!edit.abandon(file) && aids.keepsHeader() && endsInInfo())
        aids.dropKeptHeader(file.descriptor());
    closeFile();
}

bool ImageWriter::Private::endsInInfo() noexcept
{
    try {
        return file.seekEnd() && stepBackOver(ZD_INFO_CHUNK);
    } catch (...) {
        return false;
    }
}

} // namespace zd
