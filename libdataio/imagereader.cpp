#include <libdataio/imagereader_p.h>

#include <libdataio/detail/rasterorder_p.h>
#include <libdataio/detail/stockpicture_p.h>
#include <libdataio/fiberquery_p.h>
#include <libdataio/moviethumbnail_p.h>
#include <libdataio/payloadreader_p.h>
#include <libdataio/report_p.h>
#include <libdataio/sidedata_p.h>

#include <common/iofileexception.h>

#include <algorithm>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.imagereader"));

// Operations whose parts report in their name.
constexpr char fiberPositions[] =
    "void zd::ImageReader::getRasterFiberContinuousIndexes(std::vector<float>&, FiberFilteringMode)";
constexpr char thumbnails[] = "bool zd::ImageReader::thumbnail(QImage&, int, int, int)";
constexpr char readingChunk[] = "bool zd::ImageReader::_readChunk(ZDImageChunkType, unsigned int)";

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

} // namespace

void ImageReader::Private::forget()
{
    header.clear();
    frameTimer.clear();
    laserPowers.clear();
    lacksSideData = false;
    frameCount = 0;
    frame.clear();
}

ImageReader::ImageReader() : m_d(std::make_unique<Private>()) {}

ImageReader::ImageReader(const QString& path) : ImageReader()
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
    m_d->fileName = path;
    m_d->file.openFile(path);
    const std::unique_ptr<PayloadReader> info = _findInfo();
    if (!info)
        _reportMissingInfo(DATAIO_HERE);
    bool loaded = false;
    try {
        loaded = _load(*info) && info->endsFile(ZD_INFO_CHUNK);
    } catch (const IOFileException&) {
        if (info->endsFile(ZD_INFO_CHUNK))
            throw;
    }
    // What was loaded while another program edited the movie is not to be trusted.
    if (!loaded) {
        m_d->forget();
        _reportMissingInfo(DATAIO_HERE);
    }
}

/// Loads the info record and, through it, times and laser powers; false when the info record cannot be read.
bool ImageReader::_load(PayloadReader& info)
{
    const auto next = [&info](std::size_t size) { return info.next(size); };
    if (!m_d->header.load(static_cast<unsigned int>(info.left()), next))
        return false;
    m_d->cursor = 0;
    if (const auto frames = m_d->header.find(ZD_FRAME_CHUNK); frames != m_d->header.end())
        m_d->frameCount = static_cast<std::int32_t>(frames->second.size());
    if (m_d->header.has(ZD_FRAME_TIMER_CHUNK))
        _loadFrameTimerChunk();
    else
        m_d->frameTimer.readFromChunkInfo(m_d->header);
    if (m_d->header.has(ZD_LASER_POWER_CHUNK))
        _loadLaserPowerChunk();
    return true;
}

void ImageReader::reloadHeader()
{
    const std::unique_ptr<PayloadReader> info = _findInfo();
    const auto size = info ? static_cast<unsigned int>(info->left()) : 0;
    const char* payload = size > 0 ? info->next(size) : "";
    if (!info || payload == nullptr || !info->endsFile(ZD_INFO_CHUNK))
        _reportMissingInfo(DATAIO_HERE);
    m_d->header.clear();
    m_d->header.load(payload, size);
}

void ImageReader::setPayloadLimit(std::uint32_t bytes)
{
    m_d->file.setPayloadLimit(bytes);
}

void ImageReader::close()
{
    m_d->file.closeFile();
    m_d->fileName = QString();
}

void ImageReader::_clean()
{
    close();
    m_d->forget();
}

/// Steps over the info chunk, which must be the last of the file; its payload is still to be read. Null when there is none.
std::unique_ptr<PayloadReader> ImageReader::_findInfo()
{
    return m_d->file.seekEnd() ? m_d->file.prevPayload(ZD_INFO_CHUNK) : nullptr;
}

void ImageReader::_reportMissingInfo(const LocationInfo& location) const
{
    report::fail(logger, Library, "IR_MISSINFO",
                 QStringLiteral("File %1: missing info, bad file format.").arg(m_d->fileName), location);
}

void ImageReader::_loadFrameTimerChunk()
{
    std::unique_ptr<PayloadReader> times;
    if (_seekChunk(ZD_FRAME_TIMER_CHUNK, 0))
        times = m_d->file.nextPayload(ZD_FRAME_TIMER_CHUNK);
    bool isCutShort = times == nullptr;
    if (times)
        m_d->frameTimer.readFromRawBuffer(static_cast<unsigned int>(times->left()),
                                          [&times, &isCutShort](void* target, std::size_t size) {
                                              isCutShort = !times->next(target, size);
                                              return !isCutShort;
                                          });
    m_d->lacksSideData = m_d->lacksSideData || isCutShort;
}

void ImageReader::_loadLaserPowerChunk()
{
    if (!_readChunk(ZD_LASER_POWER_CHUNK, 0)) {
        m_d->lacksSideData = true;
        return;
    }
    if (m_d->file.chunkSize() != m_d->frameCount)
        return;
    const auto* bytes = static_cast<const std::uint8_t*>(m_d->file.data());
    m_d->laserPowers.assign(bytes, bytes + m_d->frameCount);
}

bool ImageReader::_readChunk(ZDImageChunkType type, unsigned int index)
{
    return _seekChunk(type, index) && m_d->file.nextChunk(static_cast<unsigned int>(type));
}

/// Goes to a chunk through the index; false when the index has none of its type.
bool ImageReader::_seekChunk(ZDImageChunkType type, unsigned int index)
{
    const auto entry = m_d->header.find(type);
    if (entry == m_d->header.end())
        return false;
    if (index >= entry->second.size())
        report::fail(logger, Library, "IR_RC_BOUND", QStringLiteral("Chunk number out of bounds."),
                     DATAIO_HERE_IN(readingChunk));
    const ChunkRecord& record = entry->second[index];
    return m_d->file.seek(static_cast<int>(record.offset), record.length);
}

bool ImageReader::getFrame(const void*& data, unsigned int index)
{
    if (index >= static_cast<unsigned int>(m_d->frameCount) || !_readChunk(ZD_FRAME_CHUNK, index))
        return false;
    data = m_d->frame.deliver(static_cast<const char*>(m_d->file.data()), m_d->file.chunkSize(), m_d->header);
    m_d->cursor = static_cast<std::int32_t>(index);
    return true;
}

bool ImageReader::readFrame(unsigned int index, void* out, std::int64_t size)
{
    if (size < 0 || index >= static_cast<unsigned int>(m_d->frameCount) || !_seekChunk(ZD_FRAME_CHUNK, index) ||
        !m_d->file.nextChunk(ZD_FRAME_CHUNK, out, static_cast<std::size_t>(size)))
        return false;
    auto* samples = static_cast<char*>(out);
    const std::int64_t stored = m_d->file.chunkSize();
    std::int64_t filled = std::min(size, stored);
    if (!m_d->frame.deliverInto(samples, filled, stored, m_d->header))
        return false;
    std::fill_n(samples + filled, size - filled, '\0');
    m_d->cursor = static_cast<std::int32_t>(index);
    return true;
}

bool ImageReader::nextFrame(const void*& data)
{
    // The cursor moves on whatever happens, a report included, so that a walk gets past a damaged frame.
    // It is unsigned here since it may be polled past any number.
    const auto index = static_cast<std::uint32_t>(m_d->cursor);
    m_d->cursor = static_cast<std::int32_t>(index + 1);
    const bool delivered = getFrame(data, index);
    m_d->cursor = static_cast<std::int32_t>(index + 1);
    return delivered;
}

bool ImageReader::rewind()
{
    m_d->cursor = 0;
    return true;
}

std::int64_t ImageReader::frameSize() const
{
    return m_d->frame.size();
}

float* ImageReader::_dataFloats()
{
    const auto* words = static_cast<const char*>(m_d->file.data());
    return m_d->frame.fractions(words, static_cast<std::size_t>(m_d->file.chunkSize()), m_d->header.isSwapped());
}

void ImageReader::getRasterFiberContinuousIndexes(std::vector<float>& out, FiberFilteringMode mode)
{
    if (!_readChunk(ZD_FIBER_CENTERS_CHUNK, 0)) {
        out.clear();
        return;
    }
    FiberQuery query;
    if (!m_d->header.frameSides(query.frame.width, query.frame.height))
        reportNoSize(DATAIO_HERE);
    const auto words =
        static_cast<std::size_t>(m_d->file.chunkSize()) / static_cast<std::size_t>(layout::fiberWordBytes);
    query.fractions = _dataFloats();
    query.fibers = words / 2;
    if (words % 2 != 0)
        report::note(
            logger, LogLevel::getInfo(), "",
            [] { return QStringLiteral("Odd number of floats for fibers! Discarding last float."); }, DATAIO_HERE);

    switch (mode) {
    case NoFiberFiltering:
    case NoFiberFilteringSorted:
        query.all(out);
        break;
    case SizeClampFiberFiltering:
    case SizeClampFiberFilteringSorted:
        query.clamped(out);
        break;
    case BundleBoundingBoxFiberFiltering:
    case BundleBoundingBoxFiberFilteringSorted:
        _fibersInBundle(query.fractions, query.fibers, query.frame, out);
        break;
    default:
        report::fail(logger, Library, "IR_GRFI_UMODE", QStringLiteral("Unknown fiber filtering mode."), DATAIO_HERE);
    }
    if (isSorted(mode))
        detail::sortRasterOrder(out);
}

void ImageReader::_fibersInBundle(const float* fractions, std::size_t fibers, const detail::FiberFrame& frame,
                                  std::vector<float>& out)
{
    const FiberQuery query{.fractions = fractions, .fibers = fibers, .frame = frame};
    const FiberQuery::Outcome outcome = query.inBundle(m_d->header, out);
    if (outcome == FiberQuery::Outcome::NoDistortion)
        _warnNoDistortion();
    else if (outcome == FiberQuery::Outcome::UnknownDataType)
        report::fail(logger, Library, "IR_GRFI_UDTYPE", QStringLiteral("Unknown data type."),
                     DATAIO_HERE_IN(fiberPositions));
}

void ImageReader::_warnNoDistortion() const
{
    warn(
        "NODISTOPARAMS",
        [this] {
            return QStringLiteral("User asked for fibers with BundleBoundingBoxFiberFiltering on a raw image that does "
                                  "not have sinus distortion parameters. Size filtering only is applied. fileName=[%1]")
                .arg(QString::fromLatin1(m_d->fileName.toLocal8Bit()));
        },
        DATAIO_HERE_IN(fiberPositions));
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
    if (!m_d->header.frameSides(frame.width, frame.height))
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

void ImageReader::getFiberWords(std::vector<std::uint32_t>& out)
{
    out.clear();
    if (_readChunk(ZD_FIBER_CENTERS_CHUNK, 0))
        out = sidedata::fiberWords(m_d->file.data(), static_cast<std::size_t>(m_d->file.chunkSize()),
                                   m_d->header.isSwapped());
}

bool ImageReader::thumbnail(QImage& image, int maxWidth, int maxHeight, int frame)
{
    detail::FrameSamples samples;
    if (!m_d->header.frameSides(samples.width, samples.height) || samples.width < 1 || samples.height < 1)
        return false;
    if (!getFrame(samples.data, static_cast<unsigned int>(frame)) || samples.data == nullptr)
        return false;
    samples.bytes = frameSize();
    const auto range = MovieThumbnail::rangeOf(m_d->header.pixType());
    if (!range)
        return false;

    const int dimensions = MovieThumbnail::dimensions(m_d->header, *range);
    QImage picture;
    if (dimensions == layout::signalDimension)
        picture = detail::stockPicture(); // whatever the box and the shape of the frame
    else if (const auto geometry = detail::thumbnailGeometry(samples.width, samples.height, maxWidth, maxHeight);
             geometry && dimensions == layout::defaultDimension) {
        const MovieThumbnail thumbnail(samples, *range);
        ZdPalette colors = thumbnail.colors(m_d->header);
        if (thumbnail.isStretched())
            _stretch(colors, thumbnail.contrast());
        picture = thumbnail.draw(*geometry, colors, m_d->header.maskLevel());
    }
    if (picture.isNull())
        return false;
    image = picture;
    return true;
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
                    .arg(cropMin(), cropMax(), m_d->fileName);
            },
            DATAIO_HERE_IN(thumbnails));
        return;
    }
    if (stretch.lowOutside)
        warn(
            "PIXOUTOFRANGE",
            [&] {
                return QStringLiteral("Min value ouside crop range. min=[%1],cropMin=[%2],cropMax=[%3],fileName=[%4]")
                    .arg(QString::number(contrast.minimum), cropMin(), cropMax(), m_d->fileName);
            },
            DATAIO_HERE_IN(thumbnails));
    if (stretch.highOutside)
        warn(
            "PIXOUTOFRANGE",
            [&] {
                return QStringLiteral("Max value outside crop range. max=[%1],cropMin=[%2],cropMax=[%3],fileName=[%4]")
                    .arg(QString::number(contrast.maximum), cropMin(), cropMax(), m_d->fileName);
            },
            DATAIO_HERE_IN(thumbnails));
    colors.adjustNodeValues(stretch.low, stretch.high);
}

} // namespace zd
