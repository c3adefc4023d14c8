#include <movietools/movie/recordingwatch.h>

#include <libdataio/chunkheader.h>
#include <libdataio/imagefilelayout.h>
#include <movietools/files/bytesource.h>
#include <movietools/job/joberror.h>

#include <algorithm>

#include <sys/statvfs.h>

namespace zd::movietools {

namespace {

// The header of a whole chunk at `position`; nothing while it is not all there.
std::optional<ChunkStartHeader> wholeChunk(const FileBytes& file, std::int64_t position)
{
    const QByteArray start = file.bytes(position, layout::headerBytes);
    ChunkStartHeader header;
    if (start.size() < layout::headerBytes || !header.decode(start.constData()))
        return std::nullopt;
    const QByteArray end = file.bytes(position + layout::headerBytes + header.size(), layout::headerBytes);
    ChunkEndHeader endHeader;
    if (end.size() < layout::headerBytes || !endHeader.decode(end.constData()) || endHeader.type() != header.type() ||
        endHeader.size() != header.size())
        return std::nullopt;
    return header;
}

bool beginsLikeMovie(const FileBytes& file)
{
    const QByteArray start = file.bytes(0, layout::headerBytes);
    return start.size() < layout::headerBytes || ChunkStartHeader().decode(start.constData());
}

std::optional<std::uint64_t> roomOnDisk(const FileBytes& file)
{
    struct statvfs fileSystem {};
    if (::fstatvfs(file.descriptor(), &fileSystem) != 0)
        return std::nullopt;
    return std::uint64_t{fileSystem.f_bavail} * fileSystem.f_frsize;
}

} // namespace

RecordingState RecordingWatch::look()
{
    const FileBytes file(m_path);
    if (file.length() < m_position) { // another recording under the same name, or an edit
        m_position = 0;
        m_frames = 0;
    }
    while (const std::optional<ChunkStartHeader> chunk = wholeChunk(file, m_position)) {
        m_position += layout::framingBytes + std::int64_t{chunk->size()};
        m_frames += chunk->type() == ZD_FRAME_CHUNK ? 1 : 0;
        m_lastType = chunk->type();
    }
    if (m_position == 0 && !beginsLikeMovie(file))
        refuse(m_path, QStringLiteral("is no VQF movie"), QStringLiteral("name a file that is being recorded"));
    RecordingState state;
    state.frames = m_frames;
    state.bytes = static_cast<std::uint64_t>(file.length());
    state.roomToLimit = layout::commonSizeLimit - std::min(layout::commonSizeLimit, state.bytes);
    state.roomOnDisk = roomOnDisk(file);
    state.isClosed = m_position == file.length() && m_position > 0 && m_lastType == ZD_INFO_CHUNK;
    return state;
}

} // namespace zd::movietools
