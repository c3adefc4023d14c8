#include <movietools/splice/moviecopy_p.h>

#include <common/iofileexception.h>
#include <libdataio/chunkinfo.h>
#include <libdataio/filewriter.h>
#include <movietools/files/filecopy_p.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/job/wording.h>
#include <movietools/movie/moviecontent_p.h>

#include <algorithm>
#include <memory>

namespace zd::movietools {

namespace {

constexpr std::int64_t mostBytesAtOnce = std::int64_t{1} << 24; // between two reports of progress
constexpr char unknownLaserPower = '\xFF';

std::uint64_t chunkBytes(qsizetype payload)
{
    return static_cast<std::uint64_t>(layout::framingBytes) + static_cast<std::uint64_t>(payload);
}

QByteArray infoPayload(ChunkInfo& info)
{
    int size = 0;
    const std::unique_ptr<char[]> bytes(static_cast<char*>(info.save(size)));
    return QByteArray(bytes.get(), size);
}

} // namespace

MovieCopy::MovieCopy(const MovieSource& like) : m_header(like.header())
{
    for (const ChunkExtent& chunk : like.otherChunks())
        m_behindFrames.push_back({&like, chunk});
}

void MovieCopy::dropUnusedChunks()
{
    std::erase_if(m_behindFrames, [](const CopiedChunk& chunk) { return !isSideData(chunk.extent.type); });
}

void MovieCopy::makeTimesRelative()
{
    if (m_times.empty())
        return;
    const std::int64_t first = microseconds(m_times.front());
    for (timeval& time : m_times) {
        const std::int64_t elapsed = microseconds(time) - first;
        // Rounded down, so that microseconds are never negative.
        const std::int64_t seconds = (elapsed < 0 ? elapsed - 999'999 : elapsed) / 1'000'000;
        time = {static_cast<std::int32_t>(seconds), static_cast<std::int32_t>(elapsed - seconds * 1'000'000)};
    }
}

void MovieCopy::add(const MovieSource& source, unsigned frame)
{
    m_chunks.push_back({&source, source.frame(frame)});
    ++m_frames;
    if (frame < source.times().size())
        m_times.push_back(source.times()[frame]);
    m_hasLaserPowers = m_hasLaserPowers || !source.laserPowers().isEmpty();
    m_laserPowers += source.laserPowers().isEmpty() ? unknownLaserPower : source.laserPowers()[frame];
    const std::optional<std::uint32_t> checksum = source.checksum(frame);
    m_hasChecksums = m_hasChecksums && checksum.has_value();
    m_checksums.frames.push_back(checksum.value_or(0));
}

std::uint64_t MovieCopy::bytesOfFrame(std::uint32_t size)
{
    return chunkBytes(size) +
           static_cast<std::uint64_t>(layout::indexRecordBytes + layout::frameTimeBytes + layout::laserPowerBytes);
}

std::uint64_t MovieCopy::bytes() const
{
    std::uint64_t bytes = 0;
    std::size_t records = m_chunks.size() + m_behindFrames.size();
    for (const std::vector<CopiedChunk>* chunks : {&m_chunks, &m_behindFrames})
        for (const CopiedChunk& chunk : *chunks)
            bytes += static_cast<std::uint64_t>(chunk.extent.length());
    for (const NewChunk& chunk : newSideData()) {
        bytes += chunkBytes(chunk.payload.size());
        ++records;
    }
    QString text;
    m_header.dump(text);
    return bytes + chunkBytes(text.size()) + static_cast<std::uint64_t>(layout::indexCountBytes) +
           records * static_cast<std::uint64_t>(layout::indexRecordBytes);
}

void MovieCopy::write(const OutputFile& output, Progress& done, const ProgressCallback& progress)
{
    const std::vector<NewChunk> sideData = newSideData();
    setChecksums(sideData);
    if (bytes() > layout::commonSizeLimit)
        refuse(output.path(),
               QStringLiteral("would be %1 long, and movies end at %2")
                   .arg(sizeText(bytes()), sizeText(layout::commonSizeLimit)),
               QStringLiteral("make several movies of it"));
    output.requireRoom(bytes());
    m_chunks.insert(m_chunks.end(), m_behindFrames.begin(), m_behindFrames.end());
    m_behindFrames.clear();
    copyChunks(output, done, progress);
    try {
        appendTail(output);
    } catch (const IOFileException& failure) {
        throw jobError(failure, output.path(), output.workPath());
    }
    check(output);
}

// Neighbours in a file are copied at once.
void MovieCopy::copyChunks(const OutputFile& output, Progress& done, const ProgressCallback& progress) const
{
    FileCopy file(output.workPath(), output.path());
    for (std::size_t i = 0; i < m_chunks.size();) {
        report(progress, done);
        const MovieSource& source = *m_chunks[i].source;
        const std::int64_t begin = m_chunks[i].extent.offset();
        std::int64_t end = begin;
        for (; i < m_chunks.size() && m_chunks[i].source == &source && m_chunks[i].extent.offset() == end &&
               end - begin < mostBytesAtOnce;
             ++i) {
            end += m_chunks[i].extent.length();
            done.framesDone += m_chunks[i].extent.type == ZD_FRAME_CHUNK ? 1 : 0;
        }
        file.append(source.bytes().descriptor(), source.path(), begin, end - begin);
        done.bytesDone += static_cast<std::uint64_t>(end - begin);
    }
    report(progress, done);
}

void MovieCopy::appendTail(const OutputFile& output)
{
    ChunkInfo info;
    info.merge(m_header);
    std::uint64_t offset = 0;
    for (const CopiedChunk& chunk : m_chunks) {
        info[static_cast<int>(chunk.extent.type)].emplace_back(static_cast<std::uint32_t>(offset),
                                                               chunk.extent.record.length);
        offset += static_cast<std::uint64_t>(chunk.extent.length());
    }
    FileWriter file;
    file.openFile(output.workPath(), FileWriterModify);
    file.seekEnd();
    const auto append = [&file](std::uint32_t type, const QByteArray& payload) {
        return static_cast<std::uint32_t>(
            file.addChunk(type, payload.constData(), static_cast<unsigned int>(payload.size())));
    };
    for (const NewChunk& chunk : newSideData())
        info[static_cast<int>(chunk.type)].emplace_back(append(chunk.type, chunk.payload),
                                                        static_cast<std::uint32_t>(chunk.payload.size()));
    append(ZD_INFO_CHUNK, infoPayload(info));
    file.closeFile();
}

std::vector<MovieCopy::NewChunk> MovieCopy::newSideData() const
{
    std::vector<NewChunk> chunks;
    QByteArray times;
    for (const timeval& time : m_times)
        times += storedTime(time);
    if (!times.isEmpty())
        chunks.push_back({ZD_FRAME_TIMER_CHUNK, times});
    if (m_hasLaserPowers)
        chunks.push_back({ZD_LASER_POWER_CHUNK, m_laserPowers});
    return chunks;
}

void MovieCopy::setChecksums(const std::vector<NewChunk>& sideData)
{
    m_header.erase(checksumAttribute);
    if (!m_hasChecksums || m_frames == 0)
        return;
    std::vector<std::pair<std::uint32_t, QByteArray>> payloads;
    for (const CopiedChunk& chunk : m_behindFrames)
        if (isSideData(chunk.extent.type))
            payloads.emplace_back(chunk.extent.type, chunk.source->payload(chunk.extent));
    for (const NewChunk& chunk : sideData)
        payloads.emplace_back(chunk.type, chunk.payload);
    m_checksums.sideData = sideDataChecksum(payloads);
    m_header.set(checksumAttribute, m_checksums.text());
}

// The movie as another program will see it: nothing but whole chunks, and an index that lists each frame.
void MovieCopy::check(const OutputFile& output) const
{
    const FileBytes bytes(output.workPath());
    const MovieContent content(bytes);
    const bool isWhole = std::all_of(content.pieces.begin(), content.pieces.end(),
                                     [](const WalkedPiece& piece) { return piece.kind == WalkedPiece::Kind::Chunk; });
    if (!isWhole || !content.infoChunk || content.listed(ZD_FRAME_CHUNK).size() != m_frames)
        refuse(output.path(), QStringLiteral("does not hold what was written to it"),
               QStringLiteral("write it elsewhere"));
}

QByteArray storedTime(const timeval& time)
{
    return QByteArray(reinterpret_cast<const char*>(&time), sizeof time);
}

} // namespace zd::movietools
