#include <movietools/recover/recoverywriter_p.h>

#include <libdataio/chunkinfo.h>
#include <libdataio/filewriter.h>
#include <libdataio/imagefilelayout.h>
#include <movietools/job/joberror.h>
#include <movietools/recover/movieend_p.h>

#include <algorithm>
#include <memory>

namespace zd::movietools {

namespace {

/// The info record of the movie that is being written.
class InfoRecord {
public:
    explicit InfoRecord(const RecoveryPlan& plan) : m_plan(plan) { m_info.merge(plan.header); }

    /// Lists the kept chunks, which lie at these offsets.
    void listKept(const std::vector<std::uint32_t>& offsets)
    {
        for (const std::size_t place : m_plan.frameOrder)
            m_info[ZD_FRAME_CHUNK].emplace_back(offsets[place], m_plan.kept[place].piece.size);
        for (std::size_t place = 0; place < m_plan.kept.size(); ++place) {
            const KeptChunk& chunk = m_plan.kept[place];
            if (chunk.piece.type != ZD_FRAME_CHUNK && chunk.isListed)
                m_info[static_cast<int>(chunk.piece.type)].emplace_back(offsets[place], chunk.piece.size);
        }
    }

    void listNew(const NewChunk& chunk, std::uint32_t offset)
    {
        m_info[static_cast<int>(chunk.type)].emplace_back(offset, static_cast<std::uint32_t>(chunk.payload.size()));
    }

    QByteArray payload()
    {
        int size = 0;
        const std::unique_ptr<char[]> bytes(static_cast<char*>(m_info.save(size)));
        return QByteArray(bytes.get(), size);
    }

private:
    const RecoveryPlan& m_plan;
    ChunkInfo m_info;
};

std::uint32_t addChunk(FileWriter& file, std::uint32_t type, const char* payload, std::size_t size)
{
    return static_cast<std::uint32_t>(file.addChunk(type, payload, static_cast<unsigned int>(size)));
}

std::uint32_t addChunk(FileWriter& file, std::uint32_t type, const QByteArray& payload)
{
    return addChunk(file, type, payload.constData(), static_cast<std::size_t>(payload.size()));
}

std::uint32_t copyChunk(FileWriter& file, const ByteSource& source, const WalkedPiece& chunk, std::vector<char>& buffer)
{
    buffer.resize(chunk.size);
    if (source.read(chunk.payload(), buffer.data(), chunk.size) != chunk.size)
        refuse({}, QStringLiteral("became shorter while it was read"), QStringLiteral("try again"));
    return addChunk(file, chunk.type, buffer.data(), buffer.size());
}

// Where the kept chunks end, when they lie at the beginning of the file as the plan wants them.
std::int64_t endOfKept(const RecoveryPlan& plan, const QString& path)
{
    std::int64_t end = 0;
    for (const KeptChunk& chunk : plan.kept) {
        if (chunk.piece.kind != WalkedPiece::Kind::Chunk || chunk.piece.offset != end)
            refuse(path, QStringLiteral("is damaged before its end"), QStringLiteral("recover it into a new file"));
        end = chunk.piece.end();
    }
    return end;
}

QByteArray framed(const NewChunk& chunk)
{
    const auto size = static_cast<std::uint32_t>(chunk.payload.size());
    QByteArray bytes(layout::framingBytes + chunk.payload.size(), '\0');
    ChunkStartHeader(chunk.type, size).encode(bytes.data());
    std::copy(chunk.payload.begin(), chunk.payload.end(), bytes.begin() + layout::headerBytes);
    ChunkEndHeader(chunk.type, size).encode(bytes.data() + layout::headerBytes + chunk.payload.size());
    return bytes;
}

// Whether a chunk lies there as it is going to be written.
bool isThere(const ByteSource& source, std::int64_t offset, const NewChunk& chunk)
{
    const QByteArray expected = framed(chunk);
    return source.bytes(offset, expected.size()) == expected;
}

// Side data and an info chunk that lists them as well.
MovieEnd endWith(InfoRecord info, const std::vector<NewChunk>& sideData, std::int64_t offset)
{
    MovieEnd end{offset, {}};
    for (const NewChunk& chunk : sideData) {
        info.listNew(chunk, static_cast<std::uint32_t>(offset + end.bytes.size()));
        end.bytes += framed(chunk);
    }
    end.bytes += framed({ZD_INFO_CHUNK, info.payload()});
    return end;
}

} // namespace

void writeRecovered(const RecoveryPlan& plan, const ByteSource& source, const QString& path,
                    const ProgressCallback& progress)
{
    FileWriter file;
    file.openFile(path, FileWriterCreate);
    std::vector<std::uint32_t> offsets;
    std::vector<char> buffer;
    Progress done;
    done.framesTotal = plan.frameOrder.size();
    for (const KeptChunk& chunk : plan.kept) {
        report(progress, done);
        offsets.push_back(copyChunk(file, source, chunk.piece, buffer));
        done.framesDone += chunk.piece.type == ZD_FRAME_CHUNK ? 1 : 0;
        done.bytesDone += chunk.piece.size;
    }
    report(progress, done);
    InfoRecord info(plan);
    info.listKept(offsets);
    for (const NewChunk& chunk : plan.sideData)
        info.listNew(chunk, addChunk(file, chunk.type, chunk.payload));
    addChunk(file, ZD_INFO_CHUNK, info.payload());
    file.closeFile();
}

void writeRecoveredInPlace(const RecoveryPlan& plan, const ByteSource& source, const QString& path)
{
    std::int64_t end = endOfKept(plan, path);
    std::vector<std::uint32_t> offsets;
    for (const KeptChunk& chunk : plan.kept)
        offsets.push_back(static_cast<std::uint32_t>(chunk.piece.offset));
    InfoRecord info(plan);
    info.listKept(offsets);

    auto next = plan.sideData.begin();
    for (; next != plan.sideData.end() && isThere(source, end, *next); ++next) {
        info.listNew(*next, static_cast<std::uint32_t>(end));
        end += layout::framingBytes + next->payload.size();
    }
    if (next == plan.sideData.end()) {
        const NewChunk last{ZD_INFO_CHUNK, info.payload()};
        if (source.length() == end + layout::framingBytes + last.payload.size() && isThere(source, end, last))
            return;
    }
    const std::vector<NewChunk> missing(next, plan.sideData.end());
    const MovieEnd newEnd = endWith(info, missing, end);
    const std::int64_t behindAll = std::max<std::int64_t>(source.length(), end + newEnd.bytes.size());
    replaceMovieEnd(path, source, newEnd, endWith(info, missing, behindAll));
}

} // namespace zd::movietools
