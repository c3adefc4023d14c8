#include <libdataio/chunkreader.h>

namespace zd {

ChunkReader::~ChunkReader() = default;

void ChunkReader::setFD(int fd)
{
    m_fd = fd;
}

bool ChunkReader::flag()
{
    return m_flag;
}

} // namespace zd
