#include <libdataio/imagereader.h>

#include <libdataio/attributepaletteadaptor.h>
#include <libdataio/detail/byteorder_p.h>
#include <libdataio/detail/colortable_p.h>
#include <libdataio/detail/fiberfilter_p.h>
#include <libdataio/detail/fibergeometry_p.h>
#include <libdataio/detail/rasterorder_p.h>
#include <libdataio/detail/stockpicture_p.h>
#include <libdataio/detail/thumbnailrenderer_p.h>
#include <libdataio/payloadreader_p.h>
#include <libdataio/report_p.h>

#include <common/iofileexception.h>
#include <common/zdpalette.h>

#include <QImage>

#include <algorithm>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.imagereader"));

/// Largest frame that is filled up when the file holds less of it than the header says.
constexpr std::int64_t largestPaddedFrame = 64 << 20;

/// Bytes of the samples of a frame; 0 when a side is not positive or the product is beyond any file.
std::int64_t frameBytes(int width, int height, int sampleBytes)
{
    const std::int64_t samples = std::int64_t{width} * height;
    if (width < 1 || height < 1 || samples > static_cast<std::int64_t>(layout::largestSizeLimit))
        return 0;
    return samples * sampleBytes;
}

/// Whether samples of that many bytes are turned when the movie has the other byte order.
bool isTurned(int sampleBytes)
{
    return sampleBytes == 2 || sampleBytes == 4;
}

/// Turns the whole samples in the first `bytes` bytes; returns how many bytes these are. The target may be the source.
std::int64_t turnSamples(const char* source, char* target, std::int64_t bytes, int sampleBytes)
{
    const auto samples = static_cast<std::size_t>(bytes / sampleBytes);
    if (sampleBytes == 2)
        detail::swap16(source, target, samples);
    else
        detail::swap32(source, target, samples);
    return static_cast<std::int64_t>(samples) * sampleBytes;
}

[[noreturn]] void reportNoSize(const LocationInfo& location)
{
    report::fail(logger, Library, "IR_GRFI_NOSIZE", QStringLiteral("Size not available."), location);
}

template <typename Message>
void warn(const char* code, Message message, const LocationInfo& location)
{
    report::note(logger, LogLevel::getWarning(), code, message, location);
}

bool isSorted(ImageReader::FiberFilteringMode mode)
{
    return mode >= ImageReader::NoFiberFilteringSorted;
}

/// The data types and colour-table families of the pixel types that have thumbnails.
std::optional<detail::SampleRange> thumbnailRange(ZDImagePixelType type)
{
    switch (type) {
    case ZD_UCHAR:
        return detail::SampleRange::Unsigned8;
    case ZD_CHAR:
        return detail::SampleRange::Signed8;
    case ZD_USHORT:
    case ZD_SHORT:
        return detail::SampleRange::Signed16;
    default:
        return std::nullopt;
    }
}

} // namespace

ImageReader::ImageReader() = default;

ImageReader::ImageReader(const QString& path)
{
    open(path);
}

ImageReader::~ImageReader()
{
    try {
        _clean();
    } catch (...) {
        // A destructor has nobody to tell.
    }
}

void ImageReader::open(const QString& path)
{
    _clean();
    m_fileName = path;
    m_file.openFile(path);
    const std::unique_ptr<PayloadReader> info = _findInfo();
    bool loaded = false;
    try {
        loaded = _load(*info) && info->endsFile(ZD_INFO_CHUNK);
    } catch (const IOFileException&) {
        if (info->endsFile(ZD_INFO_CHUNK))
            throw;
    }
    // What was loaded while another program edited the movie is not to be trusted.
    if (!loaded) {
        _forget();
        _reportMissingInfo(DATAIO_HERE);
    }
}

/// Loads the info record and, through it, times and laser powers; false when the info record cannot be read.
bool ImageReader::_load(PayloadReader& info)
{
    const auto next = [&info](std::size_t size) { return info.next(size); };
    if (!m_info.load(static_cast<unsigned int>(info.left()), next))
        return false;
    m_cursor = 0;
    if (const auto frames = m_info.find(ZD_FRAME_CHUNK); frames != m_info.end())
        m_frameCount = static_cast<std::int32_t>(frames->second.size());
    if (m_info.has(ZD_FRAME_TIMER_CHUNK))
        _loadFrameTimerChunk();
    else
        m_frameTimer.readFromChunkInfo(m_info);
    if (m_info.has(ZD_LASER_POWER_CHUNK))
        _loadLaserPowerChunk();
    return true;
}

void ImageReader::reloadHeader()
{
    const std::unique_ptr<PayloadReader> info = _findInfo();
    const auto size = static_cast<unsigned int>(info->left());
    const char* payload = size > 0 ? info->next(size) : "";
    if (payload == nullptr || !info->endsFile(ZD_INFO_CHUNK))
        _reportMissingInfo(DATAIO_HERE);
    m_info.clear();
    m_info.load(payload, size);
}

void ImageReader::setPayloadLimit(std::uint32_t bytes)
{
    m_file.setPayloadLimit(bytes);
}

void ImageReader::close()
{
    m_file.closeFile();
    m_fileName = QString();
}

void ImageReader::_clean()
{
    close();
    _forget();
}

void ImageReader::_forget()
{
    m_info.clear();
    m_frameTimer.clear();
    m_laserPowers.clear();
    m_frameCount = 0;
    m_frameSize = 0;
}

/// Steps over the info chunk, which must be the last of the file; its payload is still to be read.
std::unique_ptr<PayloadReader> ImageReader::_findInfo()
{
    std::unique_ptr<PayloadReader> info = m_file.seekEnd() ? m_file.prevPayload(ZD_INFO_CHUNK) : nullptr;
    if (!info)
        _reportMissingInfo(DATAIO_HERE);
    return info;
}

void ImageReader::_reportMissingInfo(const LocationInfo& location) const
{
    report::fail(logger, Library, "IR_MISSINFO",
                 QStringLiteral("File %1: missing info, bad file format.").arg(m_fileName), location);
}

void ImageReader::_loadFrameTimerChunk()
{
    if (!_seekChunk(ZD_FRAME_TIMER_CHUNK, 0))
        return;
    const std::unique_ptr<PayloadReader> times = m_file.nextPayload(ZD_FRAME_TIMER_CHUNK);
    if (times)
        m_frameTimer.readFromRawBuffer(static_cast<unsigned int>(times->left()),
                                       [&times](void* target, std::size_t size) { return times->next(target, size); });
}

void ImageReader::_loadLaserPowerChunk()
{
    if (!_readChunk(ZD_LASER_POWER_CHUNK, 0) || m_file.chunkSize() != m_frameCount)
        return;
    const auto* bytes = static_cast<const std::uint8_t*>(m_file.data());
    m_laserPowers.assign(bytes, bytes + m_frameCount);
}

bool ImageReader::_readChunk(ZDImageChunkType type, unsigned int index)
{
    return _seekChunk(type, index) && m_file.nextChunk(static_cast<unsigned int>(type));
}

/// Goes to a chunk through the index; false when the index has none of its type.
bool ImageReader::_seekChunk(ZDImageChunkType type, unsigned int index)
{
    const auto entry = m_info.find(type);
    if (entry == m_info.end())
        return false;
    if (index >= entry->second.size())
        report::fail(logger, Library, "IR_RC_BOUND", QStringLiteral("Chunk number out of bounds."), DATAIO_HERE);
    const ChunkRecord& record = entry->second[index];
    return m_file.seek(static_cast<int>(record.offset), record.length);
}

bool ImageReader::getFrame(const void*& data, unsigned int index)
{
    if (index >= static_cast<unsigned int>(m_frameCount) || !_readChunk(ZD_FRAME_CHUNK, index))
        return false;
    m_frameSize = m_file.chunkSize();
    data = _needSwapping() ? _swapDataBytes() : _storedData();
    m_cursor = static_cast<std::int32_t>(index);
    return true;
}

bool ImageReader::readFrame(unsigned int index, void* out, std::int64_t size)
{
    if (size < 0 || index >= static_cast<unsigned int>(m_frameCount) || !_seekChunk(ZD_FRAME_CHUNK, index) ||
        !m_file.nextChunk(ZD_FRAME_CHUNK, out, static_cast<std::size_t>(size)))
        return false;
    auto* samples = static_cast<char*>(out);
    m_frameSize = m_file.chunkSize();
    std::int64_t filled = std::min(size, m_frameSize);
    if (_needSwapping() && !_turnFrame(samples, filled))
        return false;
    std::fill_n(samples + filled, size - filled, '\0');
    m_cursor = static_cast<std::int32_t>(index);
    return true;
}

bool ImageReader::nextFrame(const void*& data)
{
    // The cursor moves on whatever happens, a report included, so that a walk gets past a damaged frame.
    // It is unsigned here since it may be polled past any number.
    const auto index = static_cast<std::uint32_t>(m_cursor);
    m_cursor = static_cast<std::int32_t>(index + 1);
    const bool delivered = getFrame(data, index);
    m_cursor = static_cast<std::int32_t>(index + 1);
    return delivered;
}

bool ImageReader::rewind()
{
    m_cursor = 0;
    return true;
}

std::int64_t ImageReader::frameSize() const
{
    return m_frameSize;
}

bool ImageReader::_needSwapping()
{
    // Asked with every frame, and the header hardly ever changes.
    if (!m_info.unchangedSince(m_swappingRevision)) {
        m_swapping = layout::needsSwapping(endian());
        m_swappingRevision = m_info.revision();
    }
    return m_swapping;
}

/// The samples as they are stored. Behind a frame that is shorter than the header says lie zeros up to there: callers that
/// count on the header read no foreign memory.
const void* ImageReader::_storedData()
{
    if (!m_info.unchangedSince(m_claimedRevision)) {
        int w = 0;
        int h = 0;
        m_claimedFrame = width(w) && height(h) ? frameBytes(w, h, pixBytes()) : 0;
        m_claimedRevision = m_info.revision();
    }
    const auto* stored = static_cast<const char*>(m_file.data());
    if (m_claimedFrame <= m_frameSize || m_claimedFrame > largestPaddedFrame)
        return stored;
    m_workBuffer.assign(static_cast<std::size_t>(m_claimedFrame), '\0');
    std::copy_n(stored, m_frameSize, m_workBuffer.begin());
    return m_workBuffer.data();
}

const void* ImageReader::_swapDataBytes()
{
    const int sampleBytes = pixBytes();
    if (!isTurned(sampleBytes))
        return m_file.data();
    const std::int64_t held = m_file.chunkSize();
    m_frameSize = _turnedFrameBytes(sampleBytes);
    if (m_frameSize == 0)
        return nullptr;
    m_workBuffer.resize(static_cast<std::size_t>(m_frameSize));
    const std::int64_t turned = turnSamples(static_cast<const char*>(m_file.data()), m_workBuffer.data(),
                                            std::min(m_frameSize, held), sampleBytes);
    std::fill(m_workBuffer.begin() + turned, m_workBuffer.end(), '\0');
    return m_workBuffer.data();
}

/// The same in place, of the first `bytes` bytes of the frame last read, which become those that hold turned samples.
/// False when such a frame has no size.
bool ImageReader::_turnFrame(char* samples, std::int64_t& bytes)
{
    const int sampleBytes = pixBytes();
    if (!isTurned(sampleBytes))
        return true;
    const std::int64_t whole = _turnedFrameBytes(sampleBytes);
    m_frameSize = std::min(m_frameSize, whole);
    if (whole == 0)
        return false;
    bytes = turnSamples(samples, samples, std::min(bytes, m_frameSize), sampleBytes);
    return true;
}

/// Bytes of a frame that is turned, by the header; 0 when that does not tell, or claims far more than the chunk last
/// read holds.
std::int64_t ImageReader::_turnedFrameBytes(int sampleBytes)
{
    int w = 0;
    int h = 0;
    const std::int64_t bytes = width(w) && height(h) ? frameBytes(w, h, sampleBytes) : 0;
    return bytes > m_file.chunkSize() && bytes > largestPaddedFrame ? 0 : bytes;
}

float* ImageReader::_dataFloats()
{
    const auto* words = static_cast<const char*>(m_file.data());
    const auto bytes = static_cast<std::size_t>(m_file.chunkSize());
    m_workBuffer.resize(bytes);
    auto* fractions = reinterpret_cast<float*>(m_workBuffer.data());
    detail::wordsToFractions(words, bytes / sizeof(float), _needSwapping(), fractions);
    return fractions;
}

bool ImageReader::width(int& out)
{
    return m_info.get(layout::key::width, out);
}

bool ImageReader::height(int& out)
{
    return m_info.get(layout::key::height, out);
}

bool ImageReader::frameDelay(int& out)
{
    return m_info.get(layout::key::frameDelay, out);
}

bool ImageReader::dimension(int& out)
{
    return m_info.get(layout::key::dimension, out);
}

bool ImageReader::pixBits(int& out)
{
    int type = 0;
    if (!m_info.get(layout::key::pixType, type))
        return m_info.get(layout::key::pixBits, out);
    out = GetPixBits(static_cast<ZDImagePixelType>(type));
    return true;
}

bool ImageReader::pixType(ZDImagePixelType& out)
{
    int type = ZD_UNKNOWN;
    int bits = 0;
    if (m_info.get(layout::key::pixType, type))
        out = static_cast<ZDImagePixelType>(type);
    else
        out = pixBits(bits) ? GuessPixelType(ZD_GROUP_UNSIGNED, bits) : ZD_UNKNOWN;
    return out != ZD_UNKNOWN;
}

int ImageReader::pixBytes()
{
    int bits = 0;
    return pixBits(bits) ? layout::bytesForBits(bits) : 0;
}

int ImageReader::endian()
{
    int value = 0;
    return m_info.get(layout::key::endian, value) ? value : 0;
}

int ImageReader::utcOffsetSeconds(bool& found)
{
    int seconds = 0;
    found = m_info.get(layout::key::utcOffsetSeconds, seconds);
    return found ? seconds : 0;
}

QString ImageReader::dataType()
{
    QString type;
    if (m_info.get(layout::key::dataType, type))
        return type;
    int w = 0;
    int h = 0;
    const bool rawSize = width(w) && w == layout::rawWidth && height(h) && h == layout::rawHeight;
    return QString(rawSize ? layout::dataTypeRaw : layout::dataTypeProcessed);
}

int ImageReader::getMaskLevel()
{
    int level = 0;
    return m_info.get(layout::key::maskLevel, level) ? level : layout::defaultMaskLevel;
}

const QString ImageReader::getComment() const
{
    return _getStringVariable(layout::key::comment);
}

const QString ImageReader::getSpecificComment() const
{
    return _getStringVariable(layout::key::specificComment);
}

const QString ImageReader::_getStringVariable(const QString& key) const
{
    QString stored;
    return m_info.get(key, stored) ? layout::decodeComment(stored) : QString();
}

bool ImageReader::palette(ZdPalette& out)
{
    const bool restored = AttributePaletteAdaptor::attributesToPalette(m_info, out, QString());
    if (out.size() == 0)
        out.initDefault();
    return restored;
}

int ImageReader::nbFrames()
{
    return m_frameCount;
}

int ImageReader::currFrameIdx()
{
    return m_cursor;
}

const FrameTimer& ImageReader::getFrameTimer() const
{
    return m_frameTimer;
}

AttributeChunk& ImageReader::attributeChunk()
{
    return m_info;
}

void ImageReader::dumpDebug()
{
    m_info.dumpDebug();
}

bool ImageReader::attribute(const QString& name, int& out) const
{
    return m_info.get(name, out);
}

bool ImageReader::attribute(const QString& name, float& out) const
{
    return m_info.get(name, out);
}

bool ImageReader::attribute(const QString& name, QString& out) const
{
    return m_info.get(name, out);
}

void ImageReader::setAttribute(const QString& name, int value)
{
    m_info.set(layout::key::plugPrefix + name, value);
}

void ImageReader::setAttribute(const QString& name, float value)
{
    m_info.set(layout::key::plugPrefix + name, value);
}

void ImageReader::setAttribute(const QString& name, const QString& value)
{
    m_info.set(layout::key::plugPrefix + name, value);
}

void ImageReader::removeAttribute(const QString& name)
{
    m_info.erase(name);
}

bool ImageReader::frameTiming(timeval& out)
{
    return getFrameTiming(static_cast<unsigned int>(m_cursor), out);
}

bool ImageReader::getFrameTiming(unsigned int index, timeval& out)
{
    if (index >= m_frameTimer.size())
        return false;
    out = m_frameTimer[index];
    return true;
}

bool ImageReader::laserPower(float& out)
{
    return getLaserPower(static_cast<unsigned int>(m_cursor), out);
}

bool ImageReader::getLaserPower(unsigned int index, float& out)
{
    const float power = index < m_laserPowers.size() ? layout::decodeLaserPower(m_laserPowers[index]) : -1.0F;
    if (power < 0)
        return false;
    out = power;
    return true;
}

bool ImageReader::getBundleBoundingBox(std::vector<float>& box)
{
    box.assign(4, 0.0F);
    if (m_info.get(layout::key::boxMinX, box[0]) && m_info.get(layout::key::boxMinY, box[1]) &&
        m_info.get(layout::key::boxMaxX, box[2]) && m_info.get(layout::key::boxMaxY, box[3]))
        return true;
    box.clear();
    return false;
}

void ImageReader::getRasterFiberContinuousIndexes(std::vector<float>& out, FiberFilteringMode mode)
{
    if (!_readChunk(ZD_FIBER_CENTERS_CHUNK, 0)) {
        out.clear();
        return;
    }
    detail::FiberFrame frame;
    if (!width(frame.width) || !height(frame.height))
        reportNoSize(DATAIO_HERE);
    const auto words = static_cast<std::size_t>(m_file.chunkSize()) / static_cast<std::size_t>(layout::fiberWordBytes);
    const float* fractions = _dataFloats();
    if (words % 2 != 0)
        report::note(
            logger, LogLevel::getInfo(), "",
            [] { return QStringLiteral("Odd number of floats for fibers! Discarding last float."); }, DATAIO_HERE);

    switch (mode) {
    case NoFiberFiltering:
    case NoFiberFilteringSorted:
        detail::fiberPositions(fractions, words / 2, frame, out);
        break;
    case SizeClampFiberFiltering:
    case SizeClampFiberFilteringSorted:
        detail::clampedFiberPositions(fractions, words / 2, frame, out);
        break;
    case BundleBoundingBoxFiberFiltering:
    case BundleBoundingBoxFiberFilteringSorted:
        out.clear();
        _fibersInBundle(fractions, words / 2, frame, out);
        break;
    default:
        report::fail(logger, Library, "IR_GRFI_UMODE", QStringLiteral("Unknown fiber filtering mode."), DATAIO_HERE);
    }
    if (isSorted(mode))
        detail::sortRasterOrder(out);
}

/// The fibres inside the bundle's outline, or inside the frame alone when the header does not describe it.
void ImageReader::_fibersInBundle(const float* fractions, std::size_t fibers, const detail::FiberFrame& frame,
                                  std::vector<float>& out)
{
    std::vector<float> corners;
    if (!getBundleBoundingBox(corners)) {
        detail::fibersInFrame(fractions, fibers, frame, out);
        return;
    }
    const detail::BundleBox box{corners[0], corners[1], corners[2], corners[3]};
    const QString type = dataType();
    if (type == layout::dataTypeProcessed) {
        detail::fibersInBundle(fractions, fibers, frame, box, std::nullopt, out);
    } else if (type == layout::dataTypeRaw) {
        detail::SinusDistortion distortion;
        if (m_info.get(layout::key::sinusT0, distortion.t0) && m_info.get(layout::key::sinusT1, distortion.t1)) {
            detail::fibersInBundle(fractions, fibers, frame, box, distortion, out);
        } else {
            _warnNoDistortion();
            detail::fibersInFrame(fractions, fibers, frame, out);
        }
    } else {
        report::fail(logger, Library, "IR_GRFI_UDTYPE", QStringLiteral("Unknown data type."), DATAIO_HERE);
    }
}

void ImageReader::_warnNoDistortion() const
{
    warn(
        "NODISTOPARAMS",
        [this] {
            return QStringLiteral("User asked for fibers with BundleBoundingBoxFiberFiltering on a raw image that does "
                                  "not have sinus distortion parameters. Size filtering only is applied. fileName=[%1]")
                .arg(QString::fromLatin1(m_fileName.toLocal8Bit()));
        },
        DATAIO_HERE);
}

void ImageReader::getRasterFiberIndexes(std::vector<unsigned int>& out, FiberFilteringMode mode)
{
    std::vector<float> positions;
    getRasterFiberContinuousIndexes(positions, mode);
    detail::toRasterIndexes(positions, out);
}

void ImageReader::getFiberOffsets(std::vector<unsigned int>& out, FiberFilteringMode mode)
{
    int w = 0;
    if (!width(w))
        reportNoSize(DATAIO_HERE);
    getRasterFiberIndexes(out, mode);
    detail::toOffsets(out, w);
}

void ImageReader::getWorldFiberCenters(std::vector<float>& out, FiberFilteringMode mode)
{
    detail::FiberFrame frame;
    if (!width(frame.width) || !height(frame.height))
        reportNoSize(DATAIO_HERE);
    getRasterFiberContinuousIndexes(out, mode);
    detail::toWorldCenters(out, frame);
}

int ImageReader::nbFibers(FiberFilteringMode mode)
{
    std::vector<float> positions;
    getRasterFiberContinuousIndexes(positions, mode);
    return static_cast<int>(positions.size() / 2);
}

bool ImageReader::thumbnail(QImage& image, int maxWidth, int maxHeight, int frame)
{
    detail::FrameSamples samples;
    if (!width(samples.width) || !height(samples.height) || samples.width < 1 || samples.height < 1)
        return false;
    if (!getFrame(samples.data, static_cast<unsigned int>(frame)) || samples.data == nullptr)
        return false;
    samples.bytes = m_frameSize;
    ZDImagePixelType type = ZD_UNKNOWN;
    pixType(type);
    const auto range = thumbnailRange(type);
    if (!range)
        return false;

    int dimensions = layout::defaultDimension;
    if (*range == detail::SampleRange::Signed16 && !dimension(dimensions))
        dimensions = layout::defaultDimension;
    QImage picture;
    if (dimensions == layout::signalDimension)
        picture = detail::stockPicture(); // whatever the box and the shape of the frame
    else if (const auto geometry = detail::thumbnailGeometry(samples.width, samples.height, maxWidth, maxHeight);
             geometry && dimensions == layout::defaultDimension)
        picture = *range == detail::SampleRange::Signed16 ? _thumbnail16(samples, *geometry)
                                                          : _thumbnail8(samples, *geometry, *range);
    if (picture.isNull())
        return false;
    image = picture;
    return true;
}

/// The palette of the header, null when it has none. It is read again only when the header may have changed.
const ZdPalette* ImageReader::_headerPalette()
{
    if (!m_info.unchangedSince(m_paletteRevision)) {
        m_palette = std::make_unique<ZdPalette>();
        if (!palette(*m_palette))
            m_palette.reset();
        m_paletteRevision = m_info.revision();
    }
    return m_palette.get();
}

QImage ImageReader::_thumbnail8(const detail::FrameSamples& samples, const detail::ThumbnailGeometry& geometry,
                                detail::SampleRange range)
{
    ZdPalette colors;
    if (const ZdPalette* stored = _headerPalette(); stored != nullptr)
        colors = *stored;
    else if (range == detail::SampleRange::Signed8)
        colors.initSigned8();
    else
        colors.initUnsigned8();
    detail::limitCropRange(colors);
    const detail::ColorTable table =
        detail::buildColorTable(colors, range, {.lowest = true, .maskLevel = std::nullopt});
    return detail::renderIndexed8(samples, geometry, table);
}

QImage ImageReader::_thumbnail16(const detail::FrameSamples& samples, const detail::ThumbnailGeometry& geometry)
{
    ZdPalette colors;
    if (const ZdPalette* stored = _headerPalette(); stored != nullptr)
        colors = *stored;
    else
        colors.initDefault();
    _stretch(colors, detail::measureContrast(samples));
    const detail::ColorTableMarks marks{.lowest = false, .maskLevel = getMaskLevel()};
    return detail::renderRgb32(samples, geometry, [&](detail::ValueRange shown) {
        return detail::buildColorTable(colors, detail::SampleRange::Signed16, marks, shown);
    });
}

/// Stretches the palette over the contrast of the frame, and says where the two do not fit together.
void ImageReader::_stretch(ZdPalette& colors, const detail::Contrast& contrast) const
{
    const detail::PaletteStretch stretch = detail::paletteStretch(colors, contrast);
    // The multi-argument form of `arg` keeps a file name with placeholders as it is.
    const auto cropMin = [&] { return QString::number(colors.cropMin); };
    const auto cropMax = [&] { return QString::number(colors.cropMax); };
    if (!stretch.validRange) {
        warn(
            "PIXOUTOFRANGE",
            [&] {
                return QStringLiteral("Bad pelette range. cropMin=[%1],cropMax=[%2],fileName=[%3]")
                    .arg(cropMin(), cropMax(), m_fileName);
            },
            DATAIO_HERE);
        return;
    }
    if (stretch.lowOutside)
        warn(
            "PIXOUTOFRANGE",
            [&] {
                return QStringLiteral("Min value ouside crop range. min=[%1],cropMin=[%2],cropMax=[%3],fileName=[%4]")
                    .arg(QString::number(contrast.minimum), cropMin(), cropMax(), m_fileName);
            },
            DATAIO_HERE);
    if (stretch.highOutside)
        warn(
            "PIXOUTOFRANGE",
            [&] {
                return QStringLiteral("Max value outside crop range. max=[%1],cropMin=[%2],cropMax=[%3],fileName=[%4]")
                    .arg(QString::number(contrast.maximum), cropMin(), cropMax(), m_fileName);
            },
            DATAIO_HERE);
    colors.adjustNodeValues(stretch.low, stretch.high);
}

} // namespace zd
