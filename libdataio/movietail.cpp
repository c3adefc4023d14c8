#include <libdataio/movietail_p.h>

#include <libdataio/filewriter.h>

namespace zd {

void MovieTail::reset(std::int64_t end)
{
    m_chunksEnd = end;
    m_start.reset();
    m_partialChunk = false;
}

bool MovieTail::takeBack()
{
    if (!m_start)
        return false;
    m_chunksEnd = *m_start;
    m_start.reset();
    m_partialChunk = true;
    return true;
}

bool MovieTail::moveTo(FileWriter& file)
{
    if (file.offset() != m_chunksEnd && !file.seek(static_cast<unsigned int>(m_chunksEnd)))
        return false;
    if (m_partialChunk) {
        file.truncate();
        m_partialChunk = false;
    }
    return true;
}

ChunkRecord MovieTail::append(FileWriter& file, int type, const void* data, std::size_t size)
{
    const auto length = static_cast<std::uint32_t>(size);
    m_partialChunk = true;
    const int offset = file.addChunk(static_cast<unsigned int>(type), data, length);
    m_partialChunk = false;
    m_chunksEnd = file.offset();
    return {static_cast<std::uint32_t>(offset), length};
}

} // namespace zd
