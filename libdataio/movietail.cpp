#include <libdataio/movietail_p.h>

#include <libdataio/chunkframing.h>
#include <libdataio/filewriter.h>
#include <libdataio/systemcalls_p.h>

#include <algorithm>

namespace zd {

void MovieTail::reset(std::int64_t end)
{
    m_chunksEnd = end;
    m_start.reset();
    m_remainsEnd.reset();
}

bool MovieTail::takeBack()
{
    if (!m_start)
        return false;
    m_remainsEnd = std::max(m_chunksEnd, m_remainsEnd.value_or(m_chunksEnd));
    m_chunksEnd = *m_start;
    m_start.reset();
    return true;
}

bool MovieTail::moveTo(FileWriter& file)
{
    if (m_remainsEnd)
        return moveToRealEnd(file);
    return file.offset() == m_chunksEnd || file.seek(static_cast<unsigned int>(m_chunksEnd));
}

bool MovieTail::moveToRealEnd(FileWriter& file)
{
    if (!file.seekEnd())
        return false;
    const std::int64_t end = file.offset();
    if (end > m_remainsEnd.value_or(m_chunksEnd))
        m_chunksEnd = end; // a chunk of somebody else lies there
    else if (end != m_chunksEnd && !file.seek(static_cast<unsigned int>(m_chunksEnd)))
        return false;
    if (m_remainsEnd && end > m_chunksEnd)
        file.truncate();
    m_remainsEnd.reset();
    return true;
}

ChunkRecord MovieTail::append(FileWriter& file, int type, const void* data, std::size_t size)
{
    const auto length = static_cast<std::uint32_t>(size);
    int offset = 0;
    try {
        offset = file.addChunk(static_cast<unsigned int>(type), data, length);
    } catch (...) {
        const std::int64_t end = fileLength(file.descriptor());
        m_remainsEnd = end == -1 ? m_chunksEnd + layout::framingBytes + length : std::max(end, m_chunksEnd);
        throw;
    }
    m_chunksEnd = file.offset();
    return {static_cast<std::uint32_t>(offset), length};
}

} // namespace zd
