#include <recording/seriesreader.h>

#include <recording/recordingfailure_p.h>
#include <recording/seriesparts_p.h>

#include <QImage>

#include <algorithm>
#include <deque>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.seriesreader"));

/// Far below what a process may have open.
constexpr std::size_t mostOpenFiles = 32;

} // namespace

class SeriesReader::Private {
public:
    void load(const SeriesParts& found);
    SeriesPart* partOf(std::int64_t index);
    void use(std::size_t part);

    QString name;
    SeriesGaps accepted = SeriesGaps::Refuse;
    SeriesParts::List list;
    std::vector<SeriesEntry> parts;
    std::vector<SeriesGap> gaps;
    QStringList problems;
    QString seriesId;
    std::int64_t frames = 0;
    std::int64_t frameSize = 0;

private:
    std::deque<SeriesPart*> m_open; // those used last behind
};

void SeriesReader::Private::load(const SeriesParts& found)
{
    list = found.list();
    gaps = found.gaps();
    problems = found.problems();
    seriesId = found.seriesId();
    parts.clear();
    m_open.clear();
    frames = 0;
    for (std::size_t i = 0; i < list.size(); ++i) {
        parts.push_back(list[i]->info);
        frames += list[i]->info.frames;
        if (list[i]->isFileOpen())
            use(i);
    }
}

/// Its file is open from here on, and those are closed that were not used for long.
void SeriesReader::Private::use(std::size_t part)
{
    SeriesPart* used = list[part].get();
    if (!m_open.empty() && m_open.back() == used)
        return;
    std::erase(m_open, used);
    m_open.push_back(used);
    while (m_open.size() > mostOpenFiles) {
        m_open.front()->closeFile();
        m_open.pop_front();
    }
}

/// The part that holds a frame; null when there is no such frame.
SeriesPart* SeriesReader::Private::partOf(std::int64_t index)
{
    if (index < 0 || index >= frames)
        return nullptr;
    const auto behind = std::upper_bound(parts.begin(), parts.end(), index,
                                         [](std::int64_t at, const SeriesEntry& part) { return at < part.firstFrame; });
    auto at = static_cast<std::size_t>(behind - parts.begin()) - 1;
    use(at);
    return list[at].get();
}

SeriesReader::SeriesReader() : m_d(std::make_unique<Private>()) {}

SeriesReader::~SeriesReader() = default;

void SeriesReader::open(const QString& name, SeriesGaps gaps)
{
    close();
    const SeriesParts found(name, {});
    if (found.list().empty())
        recording::fail(logger, File, "SR_NONE", QStringLiteral("No part of a series is called ") + name, DATAIO_HERE);
    if (gaps == SeriesGaps::Refuse && !found.problems().isEmpty())
        recording::fail(logger, File, "SR_PARTS", found.problems().join(QStringLiteral("; ")), DATAIO_HERE);
    m_d->name = name;
    m_d->accepted = gaps;
    m_d->load(found);
}

void SeriesReader::close()
{
    m_d = std::make_unique<Private>();
}

bool SeriesReader::refresh()
{
    if (m_d->list.empty())
        return false;
    const SeriesParts found(m_d->name, m_d->list);
    if (found.list().empty() || (m_d->accepted == SeriesGaps::Refuse && !found.problems().isEmpty()))
        recording::fail(logger, File, "SR_PARTS", found.problems().join(QStringLiteral("; ")), DATAIO_HERE);
    const std::int64_t before = m_d->frames;
    const std::size_t partsBefore = m_d->parts.size();
    m_d->load(found);
    return m_d->frames > before || m_d->parts.size() > partsBefore;
}

const std::vector<SeriesEntry>& SeriesReader::parts() const
{
    return m_d->parts;
}

bool SeriesReader::isComplete() const
{
    return !m_d->list.empty() && m_d->list.back()->isLast;
}

const std::vector<SeriesGap>& SeriesReader::gaps() const
{
    return m_d->gaps;
}

const QStringList& SeriesReader::problems() const
{
    return m_d->problems;
}

QString SeriesReader::seriesId() const
{
    return m_d->seriesId;
}

const AttributeChunk& SeriesReader::header() const
{
    static const AttributeChunk none;
    return m_d->list.empty() ? none : m_d->list.front()->header();
}

ImageReader* SeriesReader::movie(std::size_t part)
{
    if (part >= m_d->list.size())
        return nullptr;
    m_d->use(part);
    return m_d->list[part]->movie();
}

std::int64_t SeriesReader::nbFrames() const
{
    return m_d->frames;
}

bool SeriesReader::getFrame(const void*& data, std::int64_t index)
{
    SeriesPart* part = m_d->partOf(index);
    const bool there = part != nullptr && part->getFrame(data, index - part->info.firstFrame);
    m_d->frameSize = there ? part->frameSize() : 0;
    return there;
}

bool SeriesReader::readFrame(std::int64_t index, void* out, std::int64_t size)
{
    SeriesPart* part = m_d->partOf(index);
    const bool there = part != nullptr && part->readFrame(index - part->info.firstFrame, out, size);
    m_d->frameSize = there ? part->frameSize() : 0;
    return there;
}

std::int64_t SeriesReader::frameSize() const
{
    return m_d->frameSize;
}

bool SeriesReader::getFrameTiming(std::int64_t index, timeval& out)
{
    SeriesPart* part = m_d->partOf(index);
    ImageReader* movie = part != nullptr ? part->movie() : nullptr;
    return movie != nullptr && movie->getFrameTiming(static_cast<unsigned int>(index - part->info.firstFrame), out);
}

bool SeriesReader::getLaserPower(std::int64_t index, float& out)
{
    SeriesPart* part = m_d->partOf(index);
    ImageReader* movie = part != nullptr ? part->movie() : nullptr;
    return movie != nullptr && movie->getLaserPower(static_cast<unsigned int>(index - part->info.firstFrame), out);
}

bool SeriesReader::thumbnail(QImage& image, int maxWidth, int maxHeight, std::int64_t index)
{
    SeriesPart* part = m_d->partOf(index);
    ImageReader* movie = part != nullptr ? part->movie() : nullptr;
    return movie != nullptr &&
           movie->thumbnail(image, maxWidth, maxHeight, static_cast<int>(index - part->info.firstFrame));
}

} // namespace zd
