#include <recording/seriespart_p.h>

#include <common/iofileexception.h>
#include <libdataio/filereader.h>
#include <libdataio/imagefilelayout.h>
#include <recording/recordingattributes.h>

#include <QFileInfo>

#include <algorithm>
#include <cstring>

namespace zd {

namespace {

/// Asked of files that may be growing, since opening those as movies would report each time.
bool endsInHeader(const QString& path)
{
    FileReader file;
    file.openFile(path);
    try {
        return QFileInfo(path).size() > 0 && file.seekEnd() && file.prevChunk(ZD_INFO_CHUNK);
    } catch (const IOFileException&) {
        return false; // a chunk that is being written
    }
}

} // namespace

SeriesPart::SeriesPart(const QString& path, int numberByName, bool maybeGrowing)
{
    info.path = path;
    info.number = numberByName;
    if (!maybeGrowing || endsInHeader(path)) {
        try {
            m_movie = std::make_unique<ImageReader>(path);
        } catch (const IOFileException&) {
            m_growing = std::make_unique<GrowingPart>(path);
            if (m_growing->frames() == 0 && QFileInfo(path).size() > 0)
                throw;
        }
    } else {
        m_growing = std::make_unique<GrowingPart>(path);
    }
    if (m_movie)
        m_growing.reset();
    m_fileOpen = m_movie != nullptr;
    info.closed = m_movie != nullptr;
    info.frames = m_movie ? m_movie->nbFrames() : m_growing->frames();
    _readHeader();
}

const AttributeChunk& SeriesPart::header() const
{
    return m_movie ? m_movie->attributeChunk() : m_growing->header();
}

void SeriesPart::_readHeader()
{
    using namespace recording;
    const AttributeChunk& attributes = header();
    attributes.get(key::seriesId, seriesId);
    int number = 0;
    if (attributes.get(key::seriesPart, number) && number > 0)
        info.number = number;
    QString first;
    bool isNumber = false;
    if (attributes.get(key::seriesFirstFrame, first))
        firstFrame = first.toLongLong(&isNumber);
    if (!isNumber || firstFrame < 0)
        firstFrame = -1;
    int last = 0;
    isLast = attributes.get(key::seriesLast, last) && last == 1;
}

ImageReader* SeriesPart::movie()
{
    if (m_movie && !m_fileOpen)
        m_movie->open(info.path);
    m_fileOpen = m_movie != nullptr;
    return m_movie.get();
}

void SeriesPart::closeFile()
{
    if (m_movie)
        m_movie->close();
    m_fileOpen = false;
}

bool SeriesPart::getFrame(const void*& data, std::int64_t index)
{
    if (ImageReader* reader = movie())
        return reader->getFrame(data, static_cast<unsigned int>(index));
    const void* samples = m_growing->frame(index);
    if (samples == nullptr)
        return false;
    data = samples;
    return true;
}

bool SeriesPart::readFrame(std::int64_t index, void* out, std::int64_t size)
{
    if (ImageReader* reader = movie())
        return reader->readFrame(static_cast<unsigned int>(index), out, size);
    const void* samples = m_growing->frame(index);
    if (samples == nullptr || size < 0)
        return false;
    const auto wanted = static_cast<std::size_t>(size);
    const std::size_t there = std::min(wanted, static_cast<std::size_t>(m_growing->frameSize()));
    if (wanted > 0) {
        std::memcpy(out, samples, there);
        std::memset(static_cast<char*>(out) + there, 0, wanted - there);
    }
    return true;
}

std::int64_t SeriesPart::frameSize() const
{
    return m_movie ? m_movie->frameSize() : m_growing->frameSize();
}

} // namespace zd
