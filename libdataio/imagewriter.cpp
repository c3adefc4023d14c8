#include <libdataio/imagewriter_p.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/chunkheader.h>
#include <libdataio/editjournal_p.h>
#include <libdataio/fdchunkwriter.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/recordinglog_p.h>
#include <libdataio/recordingremains.h>
#include <libdataio/report_p.h>
#include <libdataio/sidedata_p.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.imagewriter"));

constexpr char sizeNotDefined[] = "Width, height and pixbitsof the picture must be defined before adding frames.";
constexpr char modifying[] = "void zd::ImageWriter::modify(const QString&)"; // for the parts of it that report
constexpr char timeWithAutotime[] = "AddFrame with a frametiming cannot be used with autotime=true";

[[noreturn]] void fail(const char* code, const char* message, const LocationInfo& location)
{
    report::fail(logger, Library, code, QString::fromLatin1(message), location);
}

[[noreturn]] void failModify(const char* code, const char* message, const LocationInfo& location)
{
    report::fail(logger, File, code, report::translated(message), location);
}

template <typename T>
void rotateFirst(std::vector<T>& list, std::size_t count, std::size_t first)
{
    const auto begin = list.begin();
    std::rotate(begin, begin + static_cast<std::ptrdiff_t>(first), begin + static_cast<std::ptrdiff_t>(count));
}

/// The payload of a movie's header.
class InfoPayload {
public:
    explicit InfoPayload(ChunkInfo& info) : m_memory(static_cast<char*>(info.save(m_size))) {}
    QByteArray bytes() const { return QByteArray::fromRawData(m_memory.get(), m_size); }

private:
    int m_size = 0;
    const std::unique_ptr<char[]> m_memory;
};

} // namespace

ImageWriter::ImageWriter() : m_d(std::make_unique<Private>())
{
    m_d->header.set(layout::key::endian, layout::littleEndian);
}

ImageWriter::~ImageWriter()
{
    constexpr int attempts = 3;
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        try {
            close();
            return;
        } catch (...) {
            // What failed was logged, and may work the second time. At last, a movie without fibre centres beats no movie.
            if (attempt == attempts - 1)
                m_d->lists.fiberCenters.clear();
        }
    }
}

void ImageWriter::create(const QString& name, bool autotime)
{
    close();
    m_d->clear(autotime);
    m_d->header.set(layout::key::endian, layout::littleEndian);
    m_d->openFile(name, FileWriterCreate);
    m_d->name = name;
    RecordingRemains::remove(name);
}

bool ImageWriter::isOpen()
{
    return m_d->file.openned();
}

QString ImageWriter::fileName() const
{
    return m_d->name;
}

bool ImageWriter::autotime() const
{
    return m_d->lists.autotime();
}

void ImageWriter::close()
{
    if (!isOpen())
        return;
    _goTo(Place::RealEnd);
    m_d->tail.begin();
    _saveFiberCenters();
    _saveTimesAndPowers();
    _saveInfo();
    _finishEdit();
    m_d->tail.end();
    m_d->aids.end(m_d->file.descriptor());
    m_d->closeFile();
}

bool ImageWriter::sync()
{
    if (!m_d->file.sync())
        return false;
    // A new file is not there before its directory says so.
    if (!m_d->nameSettled)
        syncDirectoryOf(report::systemPath(besidePath(m_d->name, QString())));
    m_d->nameSettled = true;
    return true;
}

void ImageWriter::dumpDebug()
{
    std::printf("-------------------------- Dump debug ImageWriter %p\n", static_cast<void*>(this));
    std::printf("Info Header:\n");
    m_d->header.dumpDebug();
    m_d->file.dumpDebug();
}

void ImageWriter::pixType(ZDImagePixelType type)
{
    m_d->header.set(layout::key::pixType, static_cast<int>(type));
    const int bits = GetPixBits(type);
    if (bits == 0)
        fail("IW_PT_INFO", "Image pixel type is unknown: cannot guess pixbits", DATAIO_HERE);
    m_d->header.set(layout::key::pixBits, bits);
}

void ImageWriter::addFrame(const void* data, float laserPower)
{
    const std::optional<std::int64_t> size = m_d->frameSize();
    if (!size)
        fail("IW_AF_INFO1", sizeNotDefined, DATAIO_HERE);
    _appendFrame(data, *size, nullptr, laserPower);
}

void ImageWriter::addFrame(const void* data, timeval time, float laserPower)
{
    const std::optional<std::int64_t> size = m_d->frameSize();
    if (!size)
        fail("IW_AF_INFO2", sizeNotDefined, DATAIO_HERE);
    if (m_d->lists.autotime())
        fail("IW_AF_AUTOTIME1", timeWithAutotime, DATAIO_HERE);
    _appendFrame(data, *size, &time, laserPower);
}

void ImageWriter::addFrame(const void* data, int size, float laserPower)
{
    _appendFrame(data, size, nullptr, laserPower);
}

void ImageWriter::addFrame(const void* data, int size, timeval time, float laserPower)
{
    if (m_d->lists.autotime())
        fail("IW_AF_AUTOTIME2", timeWithAutotime, DATAIO_HERE);
    _appendFrame(data, size, &time, laserPower);
}

void ImageWriter::addFrameAtEnd(const void* data, int size, float laserPower)
{
    _appendFrame(data, size, nullptr, laserPower, Place::RealEnd);
}

void ImageWriter::addFrameAtEnd(const void* data, int size, timeval time, float laserPower)
{
    if (m_d->lists.autotime())
        fail("IW_AF_AUTOTIME3", timeWithAutotime, DATAIO_HERE);
    _appendFrame(data, size, &time, laserPower, Place::RealEnd);
}

void ImageWriter::_appendFrame(const void* data, Size size, const timeval* time, float laserPower, Place place)
{
    if (!isOpen())
        FDChunkWriter::reportNotOpen();
    if (size < 0)
        FDChunkWriter::reportWriteFailure(EINVAL);
    _goTo(place);
    _requireRoom(size);
    m_d->aids.keep(m_d->file.descriptor(), m_d->name, m_d->header, m_d->lists.fiberCenters);

    // The lists make room before the frame is written, so that they never fall out of step with the file.
    std::vector<ChunkRecord>& records = m_d->header.recordsWithRoom(ZD_FRAME_CHUNK);
    m_d->lists.makeRoom(time != nullptr);
    _settleCut();
    records.push_back(m_d->tail.append(m_d->file, ZD_FRAME_CHUNK, data, static_cast<std::size_t>(size)));
    const timeval* recorded = m_d->lists.append(time, laserPower);
    m_d->aids.addFrame(records.back().offset, recorded, laserPower);
}

/// Goes behind the last complete chunk, having removed what a failed write or a failed `close` left there.
void ImageWriter::_goTo(Place place)
{
    if (m_d->tail.takeBack())
        m_d->header.removeTailRecords();
    MovieTail& tail = m_d->tail;
    if (!(place == Place::RealEnd ? tail.moveToRealEnd(m_d->file) : tail.moveTo(m_d->file)))
        FDChunkWriter::reportSeekFailure();
}

void ImageWriter::_addTailChunk(int type, const QByteArray& payload)
{
    if (payload.size() > std::numeric_limits<std::uint32_t>::max())
        FDChunkWriter::reportWriteFailure(EFBIG);
    std::vector<ChunkRecord>& records = m_d->header.recordsWithRoom(type);
    _settleCut();
    records.push_back(m_d->tail.append(m_d->file, type, payload.constData(), static_cast<std::size_t>(payload.size())));
}

std::uint64_t ImageWriter::roomLeft() const
{
    if (!m_d->file.openned())
        return 0;
    const std::int64_t left = m_d->room.left(m_d->tail.framesEnd(), m_d->header, m_d->lists);
    return static_cast<std::uint64_t>(std::max<std::int64_t>(0, left));
}

/// Refuses a frame that would leave no room for what `close` still has to write.
void ImageWriter::_requireRoom(Size size)
{
    if (!m_d->room.admits(size, m_d->tail.chunksEnd(), m_d->header, m_d->lists))
        FDChunkWriter::reportWriteFailure(EFBIG);
}

void ImageWriter::organizeIndex(unsigned int firstFrame, unsigned int circularSize)
{
    const auto entry = m_d->header.find(ZD_FRAME_CHUNK);
    if (firstFrame == 0 || entry == m_d->header.end() || entry->second.empty())
        return;
    std::vector<ChunkRecord>& records = entry->second;
    if (firstFrame >= records.size() || circularSize >= records.size() || firstFrame >= circularSize)
        report::fail(logger, Library, "IW_IO_INDEX",
                     QStringLiteral("ImageWriter::organizeIndex: bad arguments.\n"
                                    "firstFrame %1 \n circularSize %2 \n index size %3")
                         .arg(firstFrame)
                         .arg(circularSize)
                         .arg(records.size()),
                     DATAIO_HERE);
    rotateFirst(records, circularSize, firstFrame);
    if (m_d->lists.laserPowers.empty())
        return;
    if (m_d->lists.laserPowers.size() != records.size())
        report::fail(logger, Library, "IW_IO_INDEX",
                     QStringLiteral("Warning laser power vector size is not equal to number of frames (%1!=%2).")
                         .arg(m_d->lists.laserPowers.size())
                         .arg(records.size()),
                     DATAIO_HERE);
    rotateFirst(m_d->lists.laserPowers, circularSize, firstFrame);
}

void ImageWriter::setFirstFrame(unsigned int firstFrame)
{
    const auto entry = m_d->header.find(ZD_FRAME_CHUNK);
    if (entry == m_d->header.end() || entry->second.empty())
        return;
    std::vector<ChunkRecord>& records = entry->second;
    if (firstFrame >= records.size())
        report::fail(logger, Library, "IW_SFF_BOUND",
                     QStringLiteral("Attention, le numéro de premiere image sélèctionné depasse le nombre d'image du "
                                    "fichier VQF."),
                     DATAIO_HERE);
    rotateFirst(records, records.size(), firstFrame);
    if (m_d->lists.laserPowers.empty())
        return;
    if (m_d->lists.laserPowers.size() != records.size())
        fail("IW_SFF_BOUND", "Warning laser power vector size is not equal to number of frames.", DATAIO_HERE);
    rotateFirst(m_d->lists.laserPowers, records.size(), firstFrame);
}

void ImageWriter::addRasterFiberContinuousIndexes(const std::vector<float>& centers)
{
    m_d->lists.fiberCenters = centers;
    m_d->aids.fiberCentersChanged();
    m_d->room.checkAgain();
}

const std::vector<float>& ImageWriter::getRasterFiberContinuousIndexes() const
{
    return m_d->lists.fiberCenters;
}

void ImageWriter::_saveFiberCenters()
{
    if (m_d->lists.fiberCenters.empty())
        return;
    int w = 0;
    int h = 0;
    if (!m_d->header.frameSides(w, h))
        fail("IW_ARFCI_INFO", "Width and height of the picture must be defined before saving fibers.", DATAIO_HERE);
    _addTailChunk(ZD_FIBER_CENTERS_CHUNK, layout::encodeFiberCenters(m_d->lists.fiberCenters, w, h));
}

void ImageWriter::_loadFiberCenters(const void* data, int size)
{
    int w = 0;
    int h = 0;
    if (!m_d->header.frameSides(w, h))
        fail("IW_ARFCI_INFO2", "cannot get fiber centers without width and height.", DATAIO_HERE);
    const std::vector<std::uint32_t> words = sidedata::fiberWords(data, static_cast<unsigned int>(size), false);
    m_d->lists.fiberCenters = layout::decodeFiberCenters(words, w, h);
}

void ImageWriter::_saveTimesAndPowers()
{
    if (!std::is_sorted(m_d->lists.times.begin(), m_d->lists.times.end()))
        _warnOfSorting();
    if (m_d->lists.autotime() || !m_d->lists.times.empty())
        _addTailChunk(ZD_FRAME_TIMER_CHUNK, sidedata::encodeTimes(m_d->lists.times));
    if (!m_d->lists.laserPowers.empty())
        _addTailChunk(ZD_LASER_POWER_CHUNK, sidedata::encodeLaserPowers(m_d->lists.laserPowers));
}

void ImageWriter::_warnOfSorting() const
{
    report::note(
        logger, LogLevel::getWarning(), "IW_C_TIMES",
        [this] {
            return QStringLiteral(
                       "Frame times are not in order. They are stored in ascending order, so that some belong "
                       "to other frames than they were given for. fileName=[%1]")
                .arg(m_d->name);
        },
        DATAIO_HERE_IN("void zd::ImageWriter::close()"));
}

void ImageWriter::_saveInfo()
{
    const InfoPayload payload(m_d->header);
    if (m_d->edit.canUndo()) {
        _settleEdit();
        m_d->edit.announceEnd(m_d->tail.chunksEnd(), payload.bytes());
    }
    _addTailChunk(ZD_INFO_CHUNK, payload.bytes());
}

void ImageWriter::modify(const QString& name)
{
    close();
    m_d->clear(false);
    m_d->openFile(name, FileWriterModify);
    try {
        m_d->undoDeadEdit(name);
        _loadInfo(DATAIO_HERE);
        _takeTailBack();
        m_d->beginEdit(name);
        RecordingLog::discard(name); // what an earlier recording left says nothing of this edit
        m_d->file.truncate();
    } catch (...) {
        m_d->abandonEdit();
        throw;
    }
    m_d->tail.reset(m_d->file.offset());
    m_d->edit.endWasCut();
    m_d->name = name;
}

/// Loads the info record of the open file and stands at its start.
void ImageWriter::_loadInfo(const LocationInfo& location)
{
    if (!m_d->file.seekEnd() || !m_d->stepBackOver(ZD_INFO_CHUNK))
        failModify("FDCW_MODIFY", "This is not a VFQ file.", location);
    m_d->header.load(m_d->file.data(), static_cast<unsigned int>(m_d->file.chunkSize()));
}

/// Takes the side data before the info chunk back into memory and stands at the start of its first chunk.
void ImageWriter::_takeTailBack()
{
    int endian = 0;
    if (!m_d->header.get(layout::key::endian, endian) || endian != layout::littleEndian)
        failModify("FDCW_MODIFY1",
                   "Cannot modify a file whose endianness is not specified or is different from the one of the "
                   "current machine.",
                   DATAIO_HERE_IN(modifying));

    if (m_d->stepBackOver(ZD_LASER_POWER_CHUNK))
        m_d->lists.laserPowers = sidedata::decodeLaserPowers(m_d->file.data(), m_d->payloadSize());
    else if (m_d->header.has(ZD_LASER_POWER_CHUNK))
        failModify("FDCW_MODIFY2", "Cannot modify this movie with laser powers not at the expected location.",
                   DATAIO_HERE_IN(modifying));

    if (m_d->stepBackOver(ZD_FRAME_TIMER_CHUNK))
        m_d->lists.times.readFromRawBuffer(static_cast<const char*>(m_d->file.data()),
                                           static_cast<unsigned int>(m_d->file.chunkSize()));
    else if (m_d->header.has(ZD_FRAME_TIMER_CHUNK))
        failModify("FDCW_MODIFY3", "Cannot modify this movie with frametimers not at the expected location.",
                   DATAIO_HERE_IN(modifying));
    else if (m_d->lists.times.readFromChunkInfo(m_d->header))
        FrameTimer::removeFromAttChunk(m_d->header); // the next `close` writes them as a chunk

    if (m_d->stepBackOver(ZD_FIBER_CENTERS_CHUNK))
        _loadFiberCenters(m_d->file.data(), m_d->file.chunkSize());
    else if (m_d->header.has(ZD_FIBER_CENTERS_CHUNK))
        failModify("FDCW_MODIFY4", "Cannot modify this movie with fibercenters not at the expected location.",
                   DATAIO_HERE_IN(modifying));

    m_d->header.removeTailRecords();
}

void ImageWriter::modifyAttribute(const QString& name, const AttributeChunk& attributes)
{
    const AttributeChunk wanted = attributes; // may be this writer's own set, which is cleared below
    close();
    m_d->lists.setAutotime(false);
    m_d->header.clear();
    m_d->aids.forgetHeader();
    m_d->openFile(name, FileWriterModify);
    try {
        m_d->undoDeadEdit(name);
        _loadInfo(DATAIO_HERE);
        m_d->header.AttributeChunk::clear();
        m_d->header.merge(wanted);
        m_d->header.removeChunkType(ZD_INFO_CHUNK);
        const InfoPayload payload(m_d->header);
        m_d->beginEdit(name);
        m_d->edit.announceEnd(m_d->file.offset(), payload.bytes());
        writeInfoOverOld(m_d->file, m_d->header.recordsWithRoom(ZD_INFO_CHUNK), payload.bytes());
        _finishEdit();
        m_d->aids.dropKeptHeader(m_d->file.descriptor());
    } catch (...) {
        m_d->abandonEdit();
        throw;
    }
    const EditProtection protection = m_d->protection;
    m_d->closeFile();
    m_d->protection = protection;
}

/// Waits until everything that the edit has written is on the storage device.
void ImageWriter::_settleEdit()
{
    if (!MovieEdit::settle(m_d->file))
        FDChunkWriter::reportWriteFailure(errno);
}

void ImageWriter::_settleCut()
{
    if (!m_d->edit.mustSettleCut())
        return;
    _settleEdit();
    m_d->edit.cutIsSettled();
}

/// The edit is complete in the file: from here on it stands, whatever happens.
void ImageWriter::_finishEdit()
{
    if (!m_d->edit.canUndo())
        return;
    _settleEdit();
    m_d->edit.finish();
}

bool ImageWriter::rollBack()
{
    if (!m_d->edit.canUndo())
        return false;
    m_d->edit.undo(m_d->file);
    m_d->aids.end(m_d->file.descriptor());
    m_d->tail.end();
    m_d->closeFile();
    return true;
}

bool ImageWriter::undoInterruptedEdit(const QString& name)
{
    return Private::undoDeadEdit(name, std::nullopt);
}

bool ImageWriter::undoInterruptedEdit(const QString& name, const MovieLock& held)
{
    return Private::undoDeadEdit(name, HeldLock::movieOf(held));
}

EditProtection ImageWriter::editProtectionOf(const QString& movie)
{
    return EditJournal::protectionOf(movie);
}

void ImageWriter::replaceFrame(const void* data, unsigned int index, float laserPower)
{
    _requireFrame(index, "IW_RF_FIND", "IW_RF_BOUND", DATAIO_HERE);
    _replaceFrameChunk(data, index);
    if (m_d->lists.autotime() && index < m_d->lists.times.size())
        m_d->lists.times[index] = m_d->lists.clockTime();
    m_d->lists.laserPowers[index] = laserPower;
}

void ImageWriter::replaceFrame(const void* data, unsigned int index, timeval time, float laserPower)
{
    if (m_d->lists.autotime())
        fail("IW_RF_AUTOTIME", timeWithAutotime, DATAIO_HERE);
    _requireFrame(index, "IW_RF_FIND2", "IW_RF_BOUND2", DATAIO_HERE);
    if (index >= m_d->lists.times.size())
        _reportFrameBound("IW_RF_BOUND2", DATAIO_HERE);
    _replaceFrameChunk(data, index);
    m_d->lists.times[index] = time;
    m_d->lists.laserPowers[index] = laserPower;
}

void ImageWriter::_requireFrame(unsigned int index, const char* codeNoFrames, const char* codeBound,
                                const LocationInfo& location)
{
    const auto entry = m_d->header.find(ZD_FRAME_CHUNK);
    if (entry == m_d->header.end() || entry->second.empty())
        report::fail(logger, Library, codeNoFrames, report::translated("Cannot replace frame, indice out of bounds."),
                     location);
    if (index >= entry->second.size())
        _reportFrameBound(codeBound, location);
}

void ImageWriter::_reportFrameBound(const char* code, const LocationInfo& location)
{
    report::fail(logger, Library, code, report::translated("Cannot replace Frame, indice out of bounds."), location);
}

/// Writes over a frame that the file really holds where the index says, and makes the list of laser powers as long as the
/// movie.
void ImageWriter::_replaceFrameChunk(const void* data, unsigned int index)
{
    if (!isOpen())
        FDChunkWriter::reportNotOpen();
    const std::vector<ChunkRecord>& records = m_d->header[ZD_FRAME_CHUNK];
    const ChunkRecord record = records[index];
    if (record.offset + layout::framingBytes + record.length > m_d->tail.framesEnd())
        ChunkHeaderBase::reportParseFailure();
    m_d->file.requireChunk(record.offset, ZD_FRAME_CHUNK, record.length);
    if (!isReplaceable(m_d->file, m_d->header, record))
        ChunkHeaderBase::reportParseFailure();
    m_d->lists.laserPowers.reserve(records.size());
    m_d->edit.keepChunk(m_d->file, record);
    _settleCut();
    if (!m_d->file.seek(record.offset))
        FDChunkWriter::reportSeekFailure();
    m_d->file.addChunk(ZD_FRAME_CHUNK, data, record.length);
    if (m_d->lists.fillUpLaserPowers(records.size()))
        m_d->room.checkAgain();
}

} // namespace zd
