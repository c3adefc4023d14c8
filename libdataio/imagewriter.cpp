#include <libdataio/imagewriter.h>

#include <libdataio/attributepaletteadaptor.h>
#include <libdataio/besidefile_p.h>
#include <libdataio/chunkheader.h>
#include <libdataio/editjournal_p.h>
#include <libdataio/fdchunkwriter.h>
#include <libdataio/recordinglog_p.h>
#include <libdataio/recordingremains.h>
#include <libdataio/report_p.h>

#include <common/zdpalette.h>

#include <QtEndian>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <limits>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.imagewriter"));

constexpr char sizeNotDefined[] = "Width, height and pixbitsof the picture must be defined before adding frames.";
constexpr char timeWithAutotime[] = "AddFrame with a frametiming cannot be used with autotime=true";

/// Room that is kept free below the size limit for header values that are yet to come.
constexpr std::int64_t largestReserve = 1 << 20;
constexpr std::int64_t reserveFraction = 1024;

[[noreturn]] void fail(const char* code, const char* message, const LocationInfo& location)
{
    report::fail(logger, Library, code, QString::fromLatin1(message), location);
}

[[noreturn]] void failModify(const char* code, const char* message, const LocationInfo& location)
{
    report::fail(logger, File, code, report::translated(message), location);
}

/// The wall clock. Seconds beyond 32 bits (after 2038-01-19) are stored modulo 2^32: intervals stay right.
timeval clockTime()
{
    using namespace std::chrono;
    const std::int64_t microseconds = floor<std::chrono::microseconds>(system_clock::now()).time_since_epoch().count();
    return {static_cast<std::int32_t>(microseconds / 1'000'000), static_cast<std::int32_t>(microseconds % 1'000'000)};
}

/// Makes room for one more element, so that appending it cannot fail.
template <typename T>
void makeRoom(std::vector<T>& list)
{
    if (list.size() == list.capacity())
        list.reserve(std::max<std::size_t>(64, 2 * list.size()));
}

template <typename T>
void rotateFirst(std::vector<T>& list, std::size_t count, std::size_t first)
{
    const auto begin = list.begin();
    std::rotate(begin, begin + static_cast<std::ptrdiff_t>(first), begin + static_cast<std::ptrdiff_t>(count));
}

std::unique_ptr<char[]> serialised(ChunkInfo& info, int& size)
{
    return std::unique_ptr<char[]>(static_cast<char*>(info.save(size)));
}

} // namespace

ImageWriter::ImageWriter()
{
    m_info.set(layout::key::endian, layout::littleEndian);
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
                m_fiberCenters.clear();
        }
    }
}

void ImageWriter::create(const QString& name, bool autotime)
{
    _closeOpenMovie();
    _clear(autotime);
    m_info.set(layout::key::endian, layout::littleEndian);
    m_file.openFile(name, FileWriterCreate, m_locking);
    m_name = name;
    RecordingRemains::remove(name);
}

bool ImageWriter::isOpen()
{
    return m_file.openned();
}

void ImageWriter::close()
{
    if (!isOpen())
        return;
    _goToEnd();
    m_tailStart = m_end;
    _saveFiberCenters();
    _saveFrameTimer();
    _saveLaserPower();
    _saveInfo();
    _finishEdit();
    m_tailStart.reset();
    _endRecordingAids();
    m_file.closeFile();
}

/// Removes what was kept for a crash.
void ImageWriter::_endRecordingAids()
{
    dropHeader(m_file.descriptor());
    if (m_log)
        m_log->end();
    m_log.reset();
}

bool ImageWriter::sync()
{
    if (!m_file.sync())
        return false;
    // A new file is not there before its directory says so.
    if (!m_nameSettled)
        syncDirectoryOf(report::systemPath(besidePath(m_name, QString())));
    m_nameSettled = true;
    return true;
}

void ImageWriter::dumpDebug()
{
    std::printf("-------------------------- Dump debug ImageWriter %p\n", static_cast<void*>(this));
    std::printf("Info Header:\n");
    m_info.dumpDebug();
    m_file.dumpDebug();
}

void ImageWriter::width(int pixels)
{
    m_info.set(layout::key::width, pixels);
}

void ImageWriter::height(int rows)
{
    m_info.set(layout::key::height, rows);
}

void ImageWriter::frameDelay(int delay)
{
    m_info.set(layout::key::frameDelay, delay);
}

void ImageWriter::dimension(int dimension)
{
    m_info.set(layout::key::dimension, dimension);
}

void ImageWriter::pixType(ZDImagePixelType type)
{
    m_info.set(layout::key::pixType, static_cast<int>(type));
    const int bits = GetPixBits(type);
    if (bits == 0)
        fail("IW_PT_INFO", "Image pixel type is unknown: cannot guess pixbits", DATAIO_HERE);
    m_info.set(layout::key::pixBits, bits);
}

int ImageWriter::pixBytes()
{
    int bits = 0;
    return m_info.get(layout::key::pixBits, bits) ? layout::bytesForBits(bits) : 0;
}

void ImageWriter::palette(const char* /*data*/, int /*size*/)
{
    m_info.set(layout::key::palette, 1);
}

void ImageWriter::setPalette(const ZdPalette& palette)
{
    AttributeChunk keys;
    AttributePaletteAdaptor::paletteToAttributes(palette, keys, QString());
    m_info.merge(keys);
}

void ImageWriter::indexed(bool on)
{
    m_info.set(layout::key::indexed, on ? 1 : 0);
}

void ImageWriter::setComment(const QString& text)
{
    _setStringVariable(layout::key::comment, text);
}

void ImageWriter::setSpecificComment(const QString& text)
{
    _setStringVariable(layout::key::specificComment, text);
}

const QString ImageWriter::getComment()
{
    QString stored;
    return m_info.get(layout::key::comment, stored) ? layout::decodeComment(stored) : QString();
}

void ImageWriter::_setStringVariable(const QString& name, const QString& value)
{
    m_info.set(name, AttributeChunk::formatComment(value));
}

void ImageWriter::attribute(const QString& name, int value)
{
    m_info.set(name, value);
}

void ImageWriter::attribute(const QString& name, float value)
{
    m_info.set(name, value);
}

void ImageWriter::attribute(const QString& name, const QString& value)
{
    m_info.set(name, value);
}

void ImageWriter::setPlugAttribute(const QString& name, int value)
{
    m_info.set(layout::key::plugPrefix + name, value);
}

void ImageWriter::setPlugAttribute(const QString& name, float value)
{
    m_info.set(layout::key::plugPrefix + name, value);
}

void ImageWriter::setPlugAttribute(const QString& name, const QString& value)
{
    m_info.set(layout::key::plugPrefix + name, value);
}

void ImageWriter::removeAttribute(const QString& name)
{
    m_info.erase(name);
}

AttributeChunk& ImageWriter::attributeChunk()
{
    return m_info;
}

void ImageWriter::addFrame(const void* data, float laserPower)
{
    const std::optional<Size> size = _frameSize();
    if (!size)
        fail("IW_AF_INFO1", sizeNotDefined, DATAIO_HERE);
    _appendFrame(data, *size, nullptr, laserPower);
}

void ImageWriter::addFrame(const void* data, timeval time, float laserPower)
{
    const std::optional<Size> size = _frameSize();
    if (!size)
        fail("IW_AF_INFO2", sizeNotDefined, DATAIO_HERE);
    if (m_autotime)
        fail("IW_AF_AUTOTIME1", timeWithAutotime, DATAIO_HERE);
    _appendFrame(data, *size, &time, laserPower);
}

void ImageWriter::addFrame(const void* data, int size, float laserPower)
{
    _appendFrame(data, size, nullptr, laserPower);
}

void ImageWriter::addFrame(const void* data, int size, timeval time, float laserPower)
{
    if (m_autotime)
        fail("IW_AF_AUTOTIME2", timeWithAutotime, DATAIO_HERE);
    _appendFrame(data, size, &time, laserPower);
}

void ImageWriter::addFrameAtEnd(const void* data, int size, float laserPower)
{
    _appendFrame(data, size, nullptr, laserPower);
}

void ImageWriter::addFrameAtEnd(const void* data, int size, timeval time, float laserPower)
{
    if (m_autotime)
        fail("IW_AF_AUTOTIME3", timeWithAutotime, DATAIO_HERE);
    _appendFrame(data, size, &time, laserPower);
}

/// Bytes of a frame by the header; nothing when a value is missing or the product is no possible frame.
std::optional<ImageWriter::Size> ImageWriter::_frameSize()
{
    if (m_frameSizeRevision != m_info.revision()) {
        int w = 0;
        int h = 0;
        int bits = 0;
        m_headerFrameSize.reset();
        if (m_info.get(layout::key::width, w) && m_info.get(layout::key::height, h) &&
            m_info.get(layout::key::pixBits, bits)) {
            Size bytes = bits / 8 + (bits % 8 != 0 ? 1 : 0);
            if (!__builtin_mul_overflow(bytes, Size{h}, &bytes) && !__builtin_mul_overflow(bytes, Size{w}, &bytes))
                m_headerFrameSize = bytes;
        }
        m_frameSizeRevision = m_info.revision();
    }
    const bool possible =
        m_headerFrameSize && *m_headerFrameSize >= 0 && static_cast<std::uint64_t>(*m_headerFrameSize) <= m_sizeLimit;
    return possible ? m_headerFrameSize : std::nullopt;
}

void ImageWriter::_appendFrame(const void* data, Size size, const timeval* time, float laserPower)
{
    if (!isOpen())
        FDChunkWriter::reportNotOpen(DATAIO_HERE);
    if (size < 0)
        FDChunkWriter::reportWriteFailure(EINVAL, DATAIO_HERE);
    _goToEnd();
    _requireRoom(size);
    _keepForRecovery();

    // The lists make room before the frame is written, so that they never fall out of step with the file.
    std::vector<ChunkRecord>& records = m_info[ZD_FRAME_CHUNK];
    makeRoom(records);
    makeRoom(m_laserPowers);
    if (time != nullptr || m_autotime)
        makeRoom(m_frameTimer);
    records.push_back(_appendChunk(ZD_FRAME_CHUNK, data, static_cast<unsigned int>(size)));
    if (time != nullptr)
        m_frameTimer.push_back(*time);
    else if (m_autotime)
        m_frameTimer.push_back(clockTime());
    m_laserPowers.push_back(laserPower);
    if (m_log)
        m_log->frame(records.back().offset, time != nullptr || m_autotime ? &m_frameTimer.back() : nullptr, laserPower);
}

/// Leaves beside the frames what a crash would take from memory: the header, and with a log all the rest.
void ImageWriter::_keepForRecovery()
{
    if (m_logged && !m_logTried) {
        m_logTried = true;
        m_log = RecordingLog::begin(m_name);
        m_keptRevision = neverSeen;
        m_fibersKept = false;
    }
    if (m_keptRevision != m_info.revision()) {
        keepHeader(m_file.descriptor(), m_info);
        if (m_log)
            m_log->header(m_info);
        m_keptRevision = m_info.revision();
    }
    if (m_log && !m_fibersKept)
        m_log->fiberCenters(m_fiberCenters);
    m_fibersKept = true;
}

/// Goes behind the last complete chunk, having removed what a failed write or a failed `close` left there.
void ImageWriter::_goToEnd()
{
    if (m_tailStart) {
        for (const int type : {ZD_INFO_CHUNK, ZD_FIBER_CENTERS_CHUNK, ZD_FRAME_TIMER_CHUNK, ZD_LASER_POWER_CHUNK})
            m_info.removeChunkType(type);
        m_end = *m_tailStart;
        m_tailStart.reset();
        m_partialChunk = true;
    }
    if (m_file.offset() != m_end && !m_file.seek(static_cast<unsigned int>(m_end)))
        FDChunkWriter::reportSeekFailure(DATAIO_HERE);
    if (m_partialChunk) {
        m_file.truncate();
        m_partialChunk = false;
    }
}

ChunkRecord ImageWriter::_appendChunk(int type, const void* data, unsigned int size)
{
    _settleCut();
    m_partialChunk = true;
    const int offset = m_file.addChunk(static_cast<unsigned int>(type), data, size);
    m_partialChunk = false;
    m_end = m_file.offset();
    return {static_cast<std::uint32_t>(offset), size};
}

void ImageWriter::_addTailChunk(int type, const void* data, std::size_t size)
{
    if (size > std::numeric_limits<std::uint32_t>::max())
        FDChunkWriter::reportWriteFailure(EFBIG, DATAIO_HERE);
    std::vector<ChunkRecord>& records = m_info[type];
    makeRoom(records);
    records.push_back(_appendChunk(type, data, static_cast<unsigned int>(size)));
}

void ImageWriter::setSizeLimit(std::uint64_t bytes)
{
    m_sizeLimit = std::min(bytes, layout::largestSizeLimit);
    m_roomCheckedTo = 0;
}

std::uint64_t ImageWriter::roomLeft() const
{
    return m_file.openned() ? static_cast<std::uint64_t>(std::max<Size>(0, _roomFor(_endOfMovie(), 1))) : 0;
}

/// Refuses a frame that would leave no room for what `close` still has to write.
void ImageWriter::_requireRoom(Size size)
{
    const Size end = m_end + layout::framingBytes + size;
    if (end <= m_roomCheckedTo && m_roomRevision == m_info.revision())
        return;
    const Size left = _roomFor(m_end, 1) - size;
    if (left < 0)
        FDChunkWriter::reportWriteFailure(EFBIG, DATAIO_HERE);
    // A frame adds less to the tail than to the file, so half of what is left holds both.
    m_roomCheckedTo = end + left / 2;
    m_roomRevision = m_info.revision();
}

ImageWriter::Size ImageWriter::_endOfMovie() const
{
    return m_tailStart.value_or(m_end);
}

/// Payload bytes of a frame at `end` that fit below the size limit; negative when there is no room even for none.
ImageWriter::Size ImageWriter::_roomFor(Size end, Size moreFrames) const
{
    const auto limit = static_cast<Size>(m_sizeLimit);
    const Size reserve = std::min(largestReserve, limit / reserveFraction);
    return limit - reserve - end - layout::framingBytes - _tailSize(moreFrames);
}

/// Bytes that `close` writes when that many more frames have been recorded.
ImageWriter::Size ImageWriter::_tailSize(Size moreFrames) const
{
    const auto listSize = [](const auto& list) { return static_cast<Size>(list.size()); };
    Size records = moreFrames + 3; // side data
    for (const auto& [type, list] : m_info)
        records += listSize(list);
    Size text = 0;
    for (const auto& [name, value] : std::as_const(m_info).attributes())
        text += name.size() + value.text().size() + 2;
    return 4 * layout::framingBytes + listSize(m_fiberCenters) * layout::fiberWordBytes +
           (listSize(m_frameTimer) + moreFrames) * layout::frameTimeBytes +
           (listSize(m_laserPowers) + moreFrames) * layout::laserPowerBytes + layout::indexCountBytes +
           records * layout::indexRecordBytes + text;
}

void ImageWriter::organizeIndex(unsigned int firstFrame, unsigned int circularSize)
{
    const auto entry = m_info.find(ZD_FRAME_CHUNK);
    if (firstFrame == 0 || entry == m_info.end() || entry->second.empty())
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
    if (m_laserPowers.empty())
        return;
    if (m_laserPowers.size() != records.size())
        report::fail(logger, Library, "IW_IO_INDEX",
                     QStringLiteral("Warning laser power vector size is not equal to number of frames (%1!=%2).")
                         .arg(m_laserPowers.size())
                         .arg(records.size()),
                     DATAIO_HERE);
    rotateFirst(m_laserPowers, circularSize, firstFrame);
}

void ImageWriter::setFirstFrame(unsigned int firstFrame)
{
    const auto entry = m_info.find(ZD_FRAME_CHUNK);
    if (entry == m_info.end() || entry->second.empty())
        return;
    std::vector<ChunkRecord>& records = entry->second;
    if (firstFrame >= records.size())
        report::fail(logger, Library, "IW_SFF_BOUND",
                     QStringLiteral("Attention, le numéro de premiere image sélèctionné depasse le nombre d'image du "
                                    "fichier VQF."),
                     DATAIO_HERE);
    rotateFirst(records, records.size(), firstFrame);
    if (m_laserPowers.empty())
        return;
    if (m_laserPowers.size() != records.size())
        fail("IW_SFF_BOUND", "Warning laser power vector size is not equal to number of frames.", DATAIO_HERE);
    rotateFirst(m_laserPowers, records.size(), firstFrame);
}

void ImageWriter::addRasterFiberContinuousIndexes(const std::vector<float>& centers)
{
    m_fiberCenters = centers;
    m_fibersKept = false;
    m_roomCheckedTo = 0;
}

void ImageWriter::addBundleBoundingBoxCoords(float minX, float minY, float maxX, float maxY)
{
    m_info.set(layout::key::boxMinX, minX);
    m_info.set(layout::key::boxMinY, minY);
    m_info.set(layout::key::boxMaxX, maxX);
    m_info.set(layout::key::boxMaxY, maxY);
}

void ImageWriter::_saveFiberCenters()
{
    if (m_fiberCenters.empty())
        return;
    int w = 0;
    int h = 0;
    if (!m_info.get(layout::key::width, w) || !m_info.get(layout::key::height, h))
        fail("IW_ARFCI_INFO", "Width and height of the picture must be defined before saving fibers.", DATAIO_HERE);
    // A list of odd length ends in the x word of an unpaired value.
    std::vector<quint32> words(m_fiberCenters.size());
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = qToLittleEndian(layout::encodeFiberWord(m_fiberCenters[i], i % 2 == 0 ? w : h));
    _addTailChunk(ZD_FIBER_CENTERS_CHUNK, words.data(), words.size() * sizeof(quint32));
}

void ImageWriter::_loadFiberCenters(const void* data, int size)
{
    int w = 0;
    int h = 0;
    if (!m_info.get(layout::key::width, w) || !m_info.get(layout::key::height, h))
        fail("IW_ARFCI_INFO2", "cannot get fiber centers without width and height.", DATAIO_HERE);
    const std::size_t count = static_cast<unsigned int>(size) / sizeof(quint32) / 2 * 2;
    const auto* words = static_cast<const char*>(data);
    m_fiberCenters.resize(count);
    for (std::size_t i = 0; i < count; ++i)
        m_fiberCenters[i] =
            layout::decodeFiberWord(qFromLittleEndian<quint32>(words + i * sizeof(quint32)), i % 2 == 0 ? w : h);
}

void ImageWriter::_saveFrameTimer()
{
    if (!m_autotime && m_frameTimer.empty())
        return;
    std::vector<char> buffer(m_frameTimer.size() * static_cast<std::size_t>(layout::frameTimeBytes));
    m_frameTimer.dumpToRawBuffer(buffer.data(), static_cast<unsigned int>(buffer.size()));
    _addTailChunk(ZD_FRAME_TIMER_CHUNK, buffer.data(), buffer.size());
}

void ImageWriter::_saveLaserPower()
{
    if (m_laserPowers.empty())
        return;
    std::vector<std::uint8_t> bytes(m_laserPowers.size());
    std::transform(m_laserPowers.begin(), m_laserPowers.end(), bytes.begin(), layout::encodeLaserPower);
    _addTailChunk(ZD_LASER_POWER_CHUNK, bytes.data(), bytes.size());
}

void ImageWriter::_loadLaserPower(const unsigned char* data, int size)
{
    m_laserPowers.resize(static_cast<unsigned int>(size));
    std::transform(data, data + m_laserPowers.size(), m_laserPowers.begin(), layout::decodeLaserPower);
}

void ImageWriter::_saveInfo()
{
    int size = 0;
    const std::unique_ptr<char[]> payload = serialised(m_info, size);
    if (m_journal) {
        _settleEdit();
        m_journal->announceEnd(m_end + layout::framingBytes + size, QByteArray::fromRawData(payload.get(), size));
    }
    _addTailChunk(ZD_INFO_CHUNK, payload.get(), static_cast<std::size_t>(size));
}

void ImageWriter::_closeOpenMovie()
{
    close();
}

void ImageWriter::_clear(bool autotime)
{
    m_autotime = autotime;
    m_info.clear();
    m_frameTimer.clear();
    m_laserPowers.clear();
    m_fiberCenters.clear();
    m_end = 0;
    m_tailStart.reset();
    m_partialChunk = false;
    m_cutSettled = true;
    m_nameSettled = false;
    m_roomCheckedTo = 0;
    m_log.reset();
    m_logTried = false;
    m_keptRevision = neverSeen;
    m_fibersKept = false;
}

void ImageWriter::modify(const QString& name)
{
    _closeOpenMovie();
    _clear(false);
    undoInterruptedEdit(name);
    m_file.openFile(name, FileWriterModify, m_locking);
    try {
        _loadInfo();
        _takeTailBack();
        _beginEdit(name);
        RecordingLog::discard(name); // what an earlier recording left says nothing of this edit
        m_file.truncate();
    } catch (...) {
        _abandonEdit();
        throw;
    }
    m_end = m_file.offset();
    m_cutSettled = m_journal == nullptr;
    m_name = name;
}

/// Loads the info record of the open file and stands at its start.
void ImageWriter::_loadInfo()
{
    if (!m_file.seekEnd() || !_stepBackOver(ZD_INFO_CHUNK))
        failModify("FDCW_MODIFY", "This is not a VFQ file.", DATAIO_HERE);
    m_info.load(m_file.data(), static_cast<unsigned int>(m_file.chunkSize()));
}

/// Steps back over a chunk of that type, if one ends here. What is going to be cut off must really be that chunk:
/// one whose headers do not agree is reported.
bool ImageWriter::_stepBackOver(int type)
{
    const auto typeWord = static_cast<unsigned int>(type);
    if (!m_file.prevChunk(typeWord))
        return false;
    m_file.requireChunk(m_file.offset(), typeWord, static_cast<unsigned int>(m_file.chunkSize()));
    return true;
}

/// Takes the side data before the info chunk back into memory and stands at the start of its first chunk.
void ImageWriter::_takeTailBack()
{
    int endian = 0;
    if (!m_info.get(layout::key::endian, endian) || endian != layout::littleEndian)
        failModify("FDCW_MODIFY1",
                   "Cannot modify a file whose endianness is not specified or is different from the one of the "
                   "current machine.",
                   DATAIO_HERE);

    if (_stepBackOver(ZD_LASER_POWER_CHUNK))
        _loadLaserPower(static_cast<const unsigned char*>(m_file.data()), m_file.chunkSize());
    else if (m_info.has(ZD_LASER_POWER_CHUNK))
        failModify("FDCW_MODIFY2", "Cannot modify this movie with laser powers not at the expected location.",
                   DATAIO_HERE);

    if (_stepBackOver(ZD_FRAME_TIMER_CHUNK))
        m_frameTimer.readFromRawBuffer(static_cast<const char*>(m_file.data()),
                                       static_cast<unsigned int>(m_file.chunkSize()));
    else if (m_info.has(ZD_FRAME_TIMER_CHUNK))
        failModify("FDCW_MODIFY3", "Cannot modify this movie with frametimers not at the expected location.",
                   DATAIO_HERE);
    else if (m_frameTimer.readFromChunkInfo(m_info))
        FrameTimer::removeFromAttChunk(m_info); // the next `close` writes them as a chunk

    if (_stepBackOver(ZD_FIBER_CENTERS_CHUNK))
        _loadFiberCenters(m_file.data(), m_file.chunkSize());
    else if (m_info.has(ZD_FIBER_CENTERS_CHUNK))
        failModify("FDCW_MODIFY4", "Cannot modify this movie with fibercenters not at the expected location.",
                   DATAIO_HERE);

    for (const int type : {ZD_INFO_CHUNK, ZD_FIBER_CENTERS_CHUNK, ZD_LASER_POWER_CHUNK, ZD_FRAME_TIMER_CHUNK})
        m_info.removeChunkType(type);
}

void ImageWriter::modifyAttribute(const QString& name, const AttributeChunk& attributes)
{
    const AttributeChunk wanted = attributes; // may be this writer's own set, which is cleared below
    _closeOpenMovie();
    m_autotime = false;
    m_info.clear();
    m_keptRevision = neverSeen;
    undoInterruptedEdit(name);
    m_file.openFile(name, FileWriterModify, m_locking);
    try {
        _loadInfo();
        m_info.AttributeChunk::clear();
        m_info.merge(wanted);
        m_info.removeChunkType(ZD_INFO_CHUNK);
        int size = 0;
        const std::unique_ptr<char[]> payload = serialised(m_info, size);
        const QByteArray newInfo(payload.get(), size);
        _beginEdit(name);
        if (m_journal)
            m_journal->announceEnd(m_file.offset() + layout::framingBytes + newInfo.size(), newInfo);
        _writeInfoOverOld(newInfo);
        _finishEdit();
        _dropKeptHeader();
    } catch (...) {
        _abandonEdit();
        throw;
    }
    m_file.closeFile();
}

/// Writes the info chunk over the old one, at which the file stands, and cuts what is left of that. The new
/// chunk goes first and the cut comes last: a movie whose header did not grow opens at every instant.
void ImageWriter::_writeInfoOverOld(const QByteArray& payload)
{
    const unsigned int start = m_file.offset();
    const auto* old = static_cast<const char*>(m_file.data());
    const std::vector<char> oldPayload(old, old + static_cast<unsigned int>(m_file.chunkSize()));
    const auto size = static_cast<unsigned int>(payload.size());
    std::vector<ChunkRecord>& records = m_info[ZD_INFO_CHUNK];
    makeRoom(records);
    m_file.reserve(size + layout::framingBytes);
    try {
        m_file.addChunk(ZD_INFO_CHUNK, payload.constData(), size);
        m_file.truncate();
    } catch (...) {
        _writeBack(start, oldPayload);
        throw;
    }
    records.emplace_back(start, size);
}

/// Puts the old info chunk back after a failure, as far as the system lets it.
void ImageWriter::_writeBack(unsigned int start, const std::vector<char>& payload) noexcept
{
    try {
        if (!m_file.seek(start))
            return;
        m_file.addChunk(ZD_INFO_CHUNK, payload.data(), static_cast<unsigned int>(payload.size()));
        m_file.truncate();
    } catch (...) {
        // The first failure is on its way to the caller; the journal still holds the old bytes.
    }
}

void ImageWriter::_beginEdit(const QString& name)
{
    if (m_journaled)
        m_journal = EditJournal::begin(name, m_file.descriptor(), m_file.offset());
    // Without a journal the header is kept at least, as it is while a movie is recorded.
    if (m_journal)
        return;
    keepHeader(m_file.descriptor(), m_info);
    m_keptRevision = m_info.revision();
}

/// Removes the header that this writer has kept for recovery, if any.
void ImageWriter::_dropKeptHeader() noexcept
{
    if (m_keptRevision != neverSeen)
        dropHeader(m_file.descriptor());
    m_keptRevision = neverSeen;
}

/// Waits until everything that the edit has written is on the storage device.
void ImageWriter::_settleEdit()
{
    if (!EditJournal::settle(m_file.descriptor()))
        FDChunkWriter::reportWriteFailure(errno, DATAIO_HERE);
}

/// Before anything else of the movie changes, no crash may bring back the info chunk that was cut off: it would
/// make the movie look whole.
void ImageWriter::_settleCut()
{
    if (m_cutSettled)
        return;
    _settleEdit();
    m_cutSettled = true;
}

/// The edit is complete in the file: from here on it stands, whatever happens.
void ImageWriter::_finishEdit()
{
    if (!m_journal)
        return;
    _settleEdit();
    m_journal->end();
    m_journal.reset();
}

/// Closes the file of an edit that failed. What was kept of it goes when the movie is whole, else it stays for the next
/// edit, or for recovery.
void ImageWriter::_abandonEdit() noexcept
{
    if (m_journal)
        m_journal->endIfWhole(m_file.descriptor());
    else if (m_keptRevision != neverSeen && _endsInInfo())
        _dropKeptHeader();
    m_journal.reset();
    m_file.closeFile();
}

bool ImageWriter::_endsInInfo() noexcept
{
    try {
        return m_file.seekEnd() && _stepBackOver(ZD_INFO_CHUNK);
    } catch (...) {
        return false;
    }
}

bool ImageWriter::rollBack()
{
    if (!m_journal)
        return false;
    m_journal->undo(m_file.descriptor());
    m_journal.reset();
    _endRecordingAids();
    m_tailStart.reset();
    m_file.closeFile();
    return true;
}

bool ImageWriter::undoInterruptedEdit(const QString& name)
{
    return EditJournal::restore(name);
}

void ImageWriter::replaceFrame(const void* data, unsigned int index, float laserPower)
{
    _requireFrame(index, "IW_RF_FIND", "IW_RF_BOUND", DATAIO_HERE);
    _replaceFrameChunk(data, index);
    if (m_autotime && index < m_frameTimer.size())
        m_frameTimer[index] = clockTime();
    m_laserPowers[index] = laserPower;
}

void ImageWriter::replaceFrame(const void* data, unsigned int index, timeval time, float laserPower)
{
    if (m_autotime)
        fail("IW_RF_AUTOTIME", timeWithAutotime, DATAIO_HERE);
    _requireFrame(index, "IW_RF_FIND2", "IW_RF_BOUND2", DATAIO_HERE);
    if (index >= m_frameTimer.size())
        _reportFrameBound("IW_RF_BOUND2", DATAIO_HERE);
    _replaceFrameChunk(data, index);
    m_frameTimer[index] = time;
    m_laserPowers[index] = laserPower;
}

void ImageWriter::_requireFrame(unsigned int index, const char* codeNoFrames, const char* codeBound,
                                const LocationInfo& location)
{
    const auto entry = m_info.find(ZD_FRAME_CHUNK);
    if (entry == m_info.end() || entry->second.empty())
        report::fail(logger, Library, codeNoFrames, report::translated("Cannot replace frame, indice out of bounds."),
                     location);
    if (index >= entry->second.size())
        _reportFrameBound(codeBound, location);
}

void ImageWriter::_reportFrameBound(const char* code, const LocationInfo& location)
{
    report::fail(logger, Library, code, report::translated("Cannot replace Frame, indice out of bounds."), location);
}

bool ImageWriter::_endsWhereItShould(const ChunkRecord& frame) const
{
    const Size end = frame.offset + layout::headerBytes + Size{frame.length};
    const QByteArray bytes = bytesAt(m_file.descriptor(), end, layout::headerBytes);
    ChunkEndHeader header;
    return bytes.size() == layout::headerBytes && header.decode(bytes.constData()) && header.type() == ZD_FRAME_CHUNK &&
           header.size() == frame.length;
}

/// Whether the index lists a chunk that begins within this one: bytes are missing from it.
bool ImageWriter::_holdsStartOfAnother(const ChunkRecord& frame) const
{
    const Size end = frame.offset + layout::framingBytes + Size{frame.length};
    for (const auto& [type, records] : m_info) {
        if (std::any_of(records.begin(), records.end(),
                        [&](const ChunkRecord& other) { return other.offset > frame.offset && other.offset < end; }))
            return true;
    }
    return false;
}

/// Writes over a frame that the file really holds where the index says, and makes the list of laser powers
/// as long as the movie. A damaged end header is mended thereby, but never at the cost of another chunk.
void ImageWriter::_replaceFrameChunk(const void* data, unsigned int index)
{
    if (!isOpen())
        FDChunkWriter::reportNotOpen(DATAIO_HERE);
    const std::vector<ChunkRecord>& records = m_info[ZD_FRAME_CHUNK];
    const ChunkRecord record = records[index];
    const Size length = layout::framingBytes + record.length;
    if (record.offset + length > _endOfMovie())
        ChunkHeaderBase::reportParseFailure(DATAIO_HERE);
    m_file.requireChunk(record.offset, ZD_FRAME_CHUNK, record.length);
    if (!_endsWhereItShould(record) && _holdsStartOfAnother(record))
        ChunkHeaderBase::reportParseFailure(DATAIO_HERE);
    m_laserPowers.reserve(records.size());
    if (m_journal)
        m_journal->keep(m_file.descriptor(), record.offset, length);
    _settleCut();
    if (!m_file.seek(record.offset))
        FDChunkWriter::reportSeekFailure(DATAIO_HERE);
    m_file.addChunk(ZD_FRAME_CHUNK, data, record.length);
    if (m_laserPowers.size() < records.size()) {
        m_laserPowers.resize(records.size(), -1.0F);
        m_roomCheckedTo = 0;
    }
}

} // namespace zd
