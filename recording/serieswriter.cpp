#include <recording/serieswriter_p.h>

#include <recording/partfile_p.h>
#include <recording/recordingattributes.h>
#include <recording/recordingfailure_p.h>

#include <QFile>
#include <QUuid>

#include <algorithm>
#include <cerrno>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.serieswriter"));

/// What a frame costs in a part besides its samples, at most.
constexpr std::uint64_t bytesBesides = 64;

[[noreturn]] void failPart(const QString& path, int error, const LocationInfo& location)
{
    recording::fail(logger, System, "SW_PART", path + QStringLiteral(" : ") + recording::systemText(error), location);
}

void requireNoParts(const QString& name)
{
    const QStringList parts = SeriesWriter::existingParts(name);
    if (!parts.isEmpty())
        recording::fail(logger, File, "SW_PARTS",
                        QStringLiteral("There are parts of that name already: ") + parts.join(QStringLiteral(", ")),
                        DATAIO_HERE);
}

} // namespace

SeriesWriter::Private::~Private()
{
    constexpr int attempts = 3;
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        try {
            close();
            break;
        } catch (...) {
            // What failed was logged, and may work the second time; at last the writer of the part does what it can.
        }
    }
    _dropNext();
}

void SeriesWriter::Private::create(const QString& name, const SeriesLimits& newLimits)
{
    close();
    requireNoParts(name);
    names = SeriesNames(name);
    limits = newLimits;
    id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    frames = 0;
    rollWanted = false;
    m_unsynchronised.clear();
    m_prepareTried = false;
    part = _createPart(1);
}

void SeriesWriter::Private::close()
{
    if (!part)
        return;
    _closePart(*part, true);
    part.reset();
    _dropNext();
}

/// A file of its own name that nobody had before, and a movie in it that has the common header.
std::unique_ptr<OpenPart> SeriesWriter::Private::_createPart(int number)
{
    auto made = std::make_unique<OpenPart>();
    made->path = names.partPath(number);
    made->number = number;
    if (const int error = recording::claimFile(made->path); error != 0)
        failPart(made->path, error, DATAIO_HERE);
    try {
        made->writer.setLocking(header.locking());
        made->writer.setRecordingLog(header.recordingLog());
        made->writer.create(made->path, false);
    } catch (...) {
        QFile::remove(made->path);
        throw;
    }
    made->writer.setSizeLimit(limits.partBytes == 0 ? header.sizeLimit()
                                                    : std::min(limits.partBytes, header.sizeLimit()));
    return made;
}

/// The common values and those that tell which part of which series it is.
void SeriesWriter::Private::_giveHeader(OpenPart& to)
{
    using namespace recording;
    AttributeChunk& attributes = to.writer.attributeChunk();
    attributes = header.attributeChunk();
    attributes.set(key::seriesId, id);
    attributes.set(key::seriesPart, to.number);
    attributes.set(key::seriesFirstFrame, QString::number(to.firstFrame));
    to.writer.addRasterFiberContinuousIndexes(header.getRasterFiberContinuousIndexes());
    to.headerRevision = header.attributeChunk().revision();
    to.roomAtOnce = 0;
}

void SeriesWriter::Private::_closePart(OpenPart& full, bool last)
{
    _giveHeader(full);
    if (last)
        full.writer.attribute(recording::key::seriesLast, 1);
    full.writer.close();
    m_unsynchronised << full.path;
    if (full.reserved)
        recording::giveReserveBack(full.path);
}

void SeriesWriter::Private::_dropNext() noexcept
{
    if (!m_next)
        return;
    // Without a name first: a writer that ends makes a movie even of no frame.
    QFile::remove(m_next->path);
    m_next.reset();
}

void SeriesWriter::Private::addFrame(const void* data, int size, timeval time, float laserPower)
{
    if (!part)
        recording::fail(logger, Library, "SW_CLOSED", QStringLiteral("No series is open."), DATAIO_HERE);
    if (part->frames > 0 && _isBeyond(*part, size, time))
        _roll();
    if (part->frames == 0 || part->headerRevision != header.attributeChunk().revision())
        _giveHeader(*part);
    part->writer.addFrame(data, size, time, laserPower);
    part->roomAtOnce -= std::min(part->roomAtOnce, static_cast<std::uint64_t>(size) + bytesBesides);
    if (!part->begins)
        part->begins = time;
    ++part->frames;
    ++frames;
    m_newest = time;
    if (_isNearEnd(time, 4))
        _prepare();
}

bool SeriesWriter::Private::_isBeyond(OpenPart& full, int size, timeval time)
{
    return rollWanted || (limits.partFrames > 0 && full.frames >= limits.partFrames) ||
           (limits.partDuration.count() > 0 && full.begins && between(*full.begins, time) >= limits.partDuration) ||
           !_hasRoom(full, size);
}

/// Asks the writer only when half of what it said before is used up: it counts the whole tail each time.
bool SeriesWriter::Private::_hasRoom(OpenPart& full, int size)
{
    const auto needed = static_cast<std::uint64_t>(std::max(size, 0));
    if (needed + bytesBesides <= full.roomAtOnce)
        return true;
    const std::uint64_t left = full.writer.roomLeft();
    full.roomAtOnce = left / 2;
    return needed <= left;
}

/// Whether at most such a share of the part is left, as far as its limits tell: a half, or a quarter.
bool SeriesWriter::Private::_isNearEnd(timeval time, int share) const
{
    if (rollWanted || (limits.partFrames > 0 && part->frames >= limits.partFrames - limits.partFrames / share))
        return true;
    if (limits.partDuration.count() > 0 && part->begins &&
        between(*part->begins, time) >= limits.partDuration - limits.partDuration / share)
        return true;
    const std::uint64_t end = part->writer.sizeLimit() / static_cast<std::uint64_t>(share);
    return part->roomAtOnce < end && part->writer.roomLeft() < end;
}

void SeriesWriter::Private::_roll()
{
    if (!m_next)
        m_next = _createPart(part->number + 1);
    _closePart(*part, false); // before the next one gets a frame
    m_next->firstFrame = frames;
    part = std::move(m_next);
    m_prepareTried = false;
    rollWanted = false;
}

void SeriesWriter::Private::prepare()
{
    if (part && part->frames > 0 && _isNearEnd(m_newest, 2))
        _prepare();
}

void SeriesWriter::Private::_prepare()
{
    if (m_next || m_prepareTried)
        return;
    m_prepareTried = true;
    try {
        m_next = _createPart(part->number + 1);
        m_next->reserved = recording::reserveAhead(m_next->path);
    } catch (...) {
        // Was logged, and is tried again when the next part is needed.
    }
}

bool SeriesWriter::Private::sync()
{
    while (!m_unsynchronised.isEmpty()) {
        if (!recording::synchronise(m_unsynchronised.first()))
            return false;
        m_unsynchronised.removeFirst();
    }
    return !part || part->writer.sync();
}

SeriesWriter::SeriesWriter() : m_d(std::make_unique<Private>()) {}

SeriesWriter::~SeriesWriter() = default;

QStringList SeriesWriter::existingParts(const QString& name)
{
    QStringList paths;
    for (const SeriesFile& file : SeriesNames(name).files())
        paths << file.path;
    return paths;
}

ImageWriter& SeriesWriter::header()
{
    return m_d->header;
}

void SeriesWriter::create(const QString& name, const SeriesLimits& limits)
{
    m_d->create(name, limits);
}

bool SeriesWriter::isOpen() const
{
    return m_d->part != nullptr;
}

void SeriesWriter::close()
{
    m_d->close();
}

void SeriesWriter::addFrame(const void* data, int size, timeval time, float laserPower)
{
    m_d->addFrame(data, size, time, laserPower);
}

void SeriesWriter::addFrame(const void* data, int size, float laserPower)
{
    m_d->addFrame(data, size, m_d->clock.now(), laserPower);
}

void SeriesWriter::rollOver()
{
    m_d->rollWanted = true;
}

void SeriesWriter::prepare()
{
    m_d->prepare();
}

bool SeriesWriter::sync()
{
    return m_d->sync();
}

QString SeriesWriter::seriesId() const
{
    return m_d->id;
}

int SeriesWriter::part() const
{
    return m_d->part ? m_d->part->number : 0;
}

QString SeriesWriter::partPath() const
{
    return m_d->part ? m_d->part->path : QString();
}

std::int64_t SeriesWriter::frames() const
{
    return m_d->frames;
}

std::uint64_t SeriesWriter::roomLeft() const
{
    return m_d->part ? m_d->part->writer.roomLeft() : 0;
}

} // namespace zd
