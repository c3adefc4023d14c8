#include <movietools/splice/moviesource_p.h>

#include <libdataio/chunkheader.h>
#include <libdataio/imagereader.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/moviecontent_p.h>
#include <movietools/movie/movieedit.h>
#include <movietools/movie/movieindex.h>

#include <algorithm>
#include <numeric>

namespace zd::movietools {

namespace {

template <typename Header>
QByteArray headerBytes(std::uint32_t type, std::uint32_t size)
{
    QByteArray bytes(layout::headerBytes, '\0');
    Header(type, size).encode(bytes.data());
    return bytes;
}

} // namespace

MovieSource::MovieSource(const QString& path)
    : m_path(path),
      m_bytes(path),
      m_info(readMovieInfo(path)),
      m_header(m_info),
      m_frames(recordsOf(m_info, ZD_FRAME_CHUNK))
{
    ImageReader movie;
    openMovie(movie, path);
    m_times = movie.getFrameTimer();
    m_times.resize(std::min(m_times.size(), m_frames.size()));
    FrameTimer::removeFromAttChunk(m_header);
    const std::vector<ChunkRecord>& powers = recordsOf(m_info, ZD_LASER_POWER_CHUNK);
    if (!powers.empty() && powers.front().length == m_frames.size())
        m_laserPowers = payload(checked(ZD_LASER_POWER_CHUNK, powers.front()));
    loadChecksums();
}

// They are kept in the order in which the frames lie in the file.
void MovieSource::loadChecksums()
{
    QString text;
    if (!m_header.get(checksumAttribute, text))
        return;
    const std::optional<MovieChecksums> stored = MovieChecksums::fromText(text);
    if (!stored || stored->frames.size() != m_frames.size())
        return;
    std::vector<unsigned> order(m_frames.size());
    std::iota(order.begin(), order.end(), 0U);
    std::stable_sort(order.begin(), order.end(),
                     [this](unsigned a, unsigned b) { return m_frames[a].offset < m_frames[b].offset; });
    m_checksums.resize(m_frames.size());
    for (std::size_t place = 0; place < order.size(); ++place)
        m_checksums[order[place]] = stored->frames[place];
}

ChunkExtent MovieSource::frame(unsigned index) const
{
    return checked(ZD_FRAME_CHUNK, m_frames[index]);
}

ChunkExtent MovieSource::checked(std::uint32_t type, const ChunkRecord& record) const
{
    const std::int64_t payload = std::int64_t{record.offset} + layout::headerBytes;
    if (m_bytes.bytes(record.offset, layout::headerBytes) != headerBytes<ChunkStartHeader>(type, record.length) ||
        m_bytes.bytes(payload + record.length, layout::headerBytes) != headerBytes<ChunkEndHeader>(type, record.length))
        refuse(m_path, QStringLiteral("has no whole chunk at byte %1, where its index lists one").arg(record.offset),
               QStringLiteral("the movie is damaged: try vqf recover"));
    return {type, record};
}

std::vector<ChunkExtent> MovieSource::otherChunks() const
{
    std::vector<ChunkExtent> chunks;
    for (const auto& [type, records] : m_info)
        if (type != ZD_FRAME_CHUNK && type != ZD_INFO_CHUNK && !isSideData(type))
            for (const ChunkRecord& record : records)
                chunks.push_back(checked(type, record));
    for (const ChunkRecord& record : recordsOf(m_info, ZD_FIBER_CENTERS_CHUNK))
        chunks.push_back(checked(ZD_FIBER_CENTERS_CHUNK, record));
    return chunks;
}

QByteArray MovieSource::payload(const ChunkExtent& chunk) const
{
    const QByteArray bytes = m_bytes.bytes(chunk.offset() + layout::headerBytes, chunk.record.length);
    if (bytes.size() != chunk.record.length)
        refuse(m_path, QStringLiteral("cannot be read whole at byte %1").arg(chunk.offset()),
               QStringLiteral("try again; vqf verify tells whether the movie is damaged"));
    return bytes;
}

std::optional<std::uint32_t> MovieSource::checksum(unsigned frame) const
{
    return m_checksums.empty() ? std::nullopt : std::optional<std::uint32_t>(m_checksums[frame]);
}

} // namespace zd::movietools
