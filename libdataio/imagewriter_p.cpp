#include <libdataio/imagewriter_p.h>

#include <libdataio/editjournal_p.h>
#include <libdataio/fdchunkwriter.h>
#include <libdataio/foundjournal_p.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/report_p.h>

#include <common/iofileexception.h>

#include <cerrno>

#include <fcntl.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.imagewriter"));

void warn(const char* code, const QString& movie, const char* what)
{
    const auto message = [&] { return QStringLiteral("File %1 : %2").arg(movie, QString::fromLatin1(what)); };
    report::note(logger, LogLevel::getWarning(), code, message, DATAIO_HERE);
}

void warnOfProtection(const QString& movie, EditProtection protection)
{
    if (protection == EditProtection::NoFolder)
        warn("IW_M_UNPROTECTED", movie, "edited without a journal, since none can be made in its folder");
    if (protection == EditProtection::ForeignJournal)
        warn("IW_M_UNPROTECTED", movie, "edited without a journal, since another file has its name");
}

void warnOfForeign(const QString& movie)
{
    warn("IW_M_JOURNAL", movie,
         "the journal beside it is left alone: it is not this library's, of another movie, or a stranger's");
}

/// Undoes what the journal allows. Nothing when the edit is going on, else whether the movie was changed.
std::optional<bool> restore(const FoundJournal& found, const QString& movie, int movieFD)
{
    if (found.state() == FoundJournal::State::InUse)
        return std::nullopt;
    if (found.state() == FoundJournal::State::Foreign)
        warnOfForeign(movie);
    return EditJournal::restore(found, movie, movieFD);
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
        if (mode == FileWriterCreate && isBeingEdited(movie))
            FileWriter::_reportBusy(movie, mode);
        file._open(movie, mode, locking && processLocks(), lockedAlready);
    } catch (...) {
        heldLock.letGo();
        throw;
    }
}

void ImageWriter::Private::closeFile()
{
    file.closeFile();
    protection = EditProtection::None;
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

bool ImageWriter::Private::undoDeadEdit(const QString& movie)
{
    std::optional<FoundJournal> found;
    journalTrouble = nullptr;
    try {
        found.emplace(movie, file.descriptor(), FoundJournal::Purpose::Undo);
    } catch (const IOFileException&) {
        journalTrouble = std::current_exception();
        return false;
    }
    const std::optional<bool> undone = restore(*found, movie, file.descriptor());
    if (!undone)
        FileWriter::_reportBusy(movie, FileWriterModify);
    return *undone;
}

bool ImageWriter::Private::undoDeadEdit(const QString& movie, const std::optional<FileIdentity>& lockedAlready)
{
    const QByteArray path = report::systemPath(besidePath(movie, QString()));
    constexpr int flags = O_RDWR | O_NONBLOCK;
    LockedFile opened = processLocks() ? openLocked(path.constData(), flags, 0, lockedAlready)
                                       : LockedFile{zd::openFile(path.constData(), flags, 0), {}};
    const Descriptor descriptor(opened.fd);
    const FileLock lock(std::move(opened.lock));
    if (!descriptor) {
        if (errno != EBUSY)
            requireAnswer(errno);
        return false;
    }
    const FoundJournal found(movie, descriptor.get(), FoundJournal::Purpose::Undo);
    return restore(found, movie, descriptor.get()).value_or(false);
}

void ImageWriter::Private::beginEdit(const QString& movie)
{
    if (journalTrouble)
        std::rethrow_exception(journalTrouble);
    protection = edit.begin(movie, file);
    if (protection == EditProtection::ForeignJournal && isBeingEdited(movie))
        FileWriter::_reportBusy(movie, FileWriterModify);
    warnOfProtection(movie, protection);
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
