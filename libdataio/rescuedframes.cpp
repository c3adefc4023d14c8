#include <libdataio/rescuedframes_p.h>

#include <libdataio/besidefile_p.h>
#include <libdataio/chunkheader.h>
#include <libdataio/chunkinfo.h>
#include <libdataio/comingfile_p.h>
#include <libdataio/fdchunkwriter.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/recordinglog_p.h>
#include <libdataio/recordingremains.h>
#include <libdataio/report_p.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <vector>

#include <fcntl.h>

namespace zd {

namespace {

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

/// What is known of the frames.
struct RescuedFrames {
    int movieFD;
    std::int64_t start;
    const QByteArray& infoPayload;
    RecordingRemains log;
};

/// The movie that the frames go to.
class RescuedMovie {
public:
    /// Writes to the file open on `fd`, which stays the caller's.
    RescuedMovie(int fd, const QByteArray& infoPayload)
    {
        m_info.load(infoPayload.constData(), static_cast<unsigned int>(infoPayload.size()));
        m_info.ChunkIndex::clear();
        FrameTimer::removeFromAttChunk(m_info);
        const int copy = systemCalls.duplicateAbove(fd, fd);
        if (copy == -1)
            FDChunkWriter::reportWriteFailure(errno);
        m_file.setFD(copy);
        m_file.setOffsetShared(false);
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
        m_file.closeFD();
    }

private:
    void _addChunk(int type, const void* data, std::int64_t size)
    {
        const auto length = static_cast<std::uint32_t>(size);
        const int offset = m_file.addChunk(static_cast<unsigned int>(type), data, length);
        m_info[type].emplace_back(static_cast<std::uint32_t>(offset), length);
    }

    FDChunkWriter m_file;
    ChunkInfo m_info;
    FrameTimer m_times;
    std::vector<std::uint8_t> m_laserPowers;
    bool m_powersKnown = false;
};

/// Writes the frames from `start` on, of which the first is known.
void writeRescued(int fd, const RescuedFrames& frames)
{
    RescuedMovie rescued(fd, frames.infoPayload);
    std::int64_t offset = frames.start;
    for (std::optional<QByteArray> pixels = wholeFrameAt(frames.movieFD, offset); pixels;
         pixels = wholeFrameAt(frames.movieFD, offset)) {
        const auto known = frames.log.frames.find(static_cast<std::uint32_t>(offset));
        rescued.addFrame(*pixels, known == frames.log.frames.end() ? RecordingRemains::Frame() : known->second);
        offset += layout::framingBytes + pixels->size();
    }
    rescued.finish();
}

bool haveSameBytes(int one, int other)
{
    constexpr std::int64_t block = 1 << 20;
    const std::int64_t length = lengthOf(one);
    bool same = length == lengthOf(other);
    for (std::int64_t at = 0; same && at < length; at += block)
        same = bytesAt(one, at, block) == bytesAt(other, at, block);
    return same;
}

/// Whether the file at `path` is what an attempt before this one has rescued.
bool isThere(const QByteArray& path, int fd)
{
    const Descriptor there(openFile(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK, 0));
    struct stat status {};
    return there && systemCalls.fstat(there.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           haveSameBytes(there.get(), fd);
}

} // namespace

void rescueFrames(const QString& movie, int movieFD, std::int64_t start, const QByteArray& infoPayload)
{
    if (!wholeFrameAt(movieFD, start))
        return;
    const QByteArray path = report::systemPath(besidePath(movie, QStringLiteral("-rescued")));
    ComingFile file(path);
    if (!file)
        FDChunkWriter::reportWriteFailure(errno);
    writeRescued(file.get(), {movieFD, start, infoPayload, RecordingLog::contentOf(movie)});
    if (!settle(file.get()))
        FDChunkWriter::reportWriteFailure(errno);
    QByteArray name = path;
    for (int n = 2; !file.appearAs(name); ++n) {
        if (errno != EEXIST)
            FDChunkWriter::reportWriteFailure(errno);
        if (isThere(name, file.get()))
            break;
        name = path + '-' + QByteArray::number(n);
    }
    syncDirectoryOf(path);
}

} // namespace zd
