#include <libdataio/rescuedframes_p.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/chunkheader.h>
#include <libdataio/chunkinfo.h>
#include <libdataio/filewriter.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/recordinglog_p.h>
#include <libdataio/recordingremains.h>
#include <libdataio/report_p.h>

#include <QFileInfo>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

namespace zd {

namespace {

/// The first unused path for rescued frames.
QString unusedPath(const QString& movie)
{
    const QString path = besidePath(movie, QStringLiteral("-rescued"));
    QString unused = path;
    for (int n = 2; QFileInfo::exists(unused); ++n)
        unused = path + QStringLiteral("-%1").arg(n);
    return unused;
}

/// Payload of the frame chunk that starts at `offset`, when the file holds all of it and its headers agree.
std::optional<QByteArray> wholeFrameAt(int fd, std::int64_t offset)
{
    const QByteArray startBytes = bytesAt(fd, offset, layout::headerBytes);
    ChunkStartHeader start;
    if (startBytes.size() != layout::headerBytes || !start.decode(startBytes.constData()) ||
        start.type() != ZD_FRAME_CHUNK)
        return std::nullopt;
    const std::int64_t size = start.size();
    const QByteArray rest = bytesAt(fd, offset + layout::headerBytes, size + layout::headerBytes);
    ChunkEndHeader end;
    if (rest.size() != size + layout::headerBytes || !end.decode(rest.constData() + size) ||
        end.type() != ZD_FRAME_CHUNK || end.size() != start.size())
        return std::nullopt;
    return rest.first(size);
}

/// The movie that the frames go to.
class RescuedMovie {
public:
    RescuedMovie(const QString& path, const QByteArray& infoPayload)
    {
        m_info.load(infoPayload.constData(), static_cast<unsigned int>(infoPayload.size()));
        m_info.ChunkIndex::clear();
        FrameTimer::removeFromAttChunk(m_info);
        m_file.openFile(path, FileWriterCreate);
    }

    void addFrame(const QByteArray& pixels, const RecordingRemains::Frame& known)
    {
        _addChunk(ZD_FRAME_CHUNK, pixels.constData(), pixels.size());
        if (known.hasTime)
            m_times.push_back(known.time);
        m_laserPowers.push_back(layout::encodeLaserPower(known.laserPower));
        m_powersKnown = m_powersKnown || known.laserPower >= 0;
    }

    void finish()
    {
        // Times pair with frames by their number: some are worse than none.
        if (m_times.size() == m_laserPowers.size()) {
            QByteArray buffer(static_cast<qsizetype>(m_times.size()) * layout::frameTimeBytes, '\0');
            m_times.dumpToRawBuffer(buffer.data(), static_cast<unsigned int>(buffer.size()));
            _addChunk(ZD_FRAME_TIMER_CHUNK, buffer.constData(), buffer.size());
        }
        if (m_powersKnown)
            _addChunk(ZD_LASER_POWER_CHUNK, m_laserPowers.data(), static_cast<std::int64_t>(m_laserPowers.size()));
        int size = 0;
        const std::unique_ptr<char[]> payload(static_cast<char*>(m_info.save(size)));
        _addChunk(ZD_INFO_CHUNK, payload.get(), size);
        m_file.sync();
    }

private:
    void _addChunk(int type, const void* data, std::int64_t size)
    {
        const auto length = static_cast<std::uint32_t>(size);
        const int offset = m_file.addChunk(static_cast<unsigned int>(type), data, length);
        m_info[type].emplace_back(static_cast<std::uint32_t>(offset), length);
    }

    FileWriter m_file;
    ChunkInfo m_info;
    FrameTimer m_times;
    std::vector<std::uint8_t> m_laserPowers;
    bool m_powersKnown = false;
};

} // namespace

void rescueFrames(const QString& movie, int movieFD, std::int64_t start, const QByteArray& infoPayload)
{
    std::optional<QByteArray> pixels = wholeFrameAt(movieFD, start);
    if (!pixels)
        return;
    const RecordingRemains remains = RecordingLog::contentOf(movie);
    const QByteArray path = report::systemPath(unusedPath(movie));
    try {
        RescuedMovie rescued(QString::fromUtf8(path), infoPayload);
        for (std::int64_t offset = start; pixels; pixels = wholeFrameAt(movieFD, offset)) {
            const auto known = remains.frames.find(static_cast<std::uint32_t>(offset));
            rescued.addFrame(*pixels, known == remains.frames.end() ? RecordingRemains::Frame() : known->second);
            offset += layout::framingBytes + pixels->size();
        }
        rescued.finish();
    } catch (...) {
        systemCalls.unlink(path.constData());
        throw;
    }
    syncDirectoryOf(path);
}

} // namespace zd
