#include <libdataio/payloadreader_p.h>

#include <libdataio/chunkheader.h>
#include <libdataio/systemcalls_p.h>

#include <algorithm>

namespace zd {

/// So much is fetched at a time: little enough to stay in the processor's cache until it is used.
static constexpr std::size_t pieceSize = 64 << 10;

const char* PayloadReader::next(std::size_t size)
{
    if (size > m_fetched - m_taken && !_fetch(size))
        return nullptr;
    const char* bytes = m_buffer.get() + m_taken;
    m_taken += size;
    m_left -= static_cast<std::int64_t>(size);
    return bytes;
}

bool PayloadReader::next(void* target, std::size_t size)
{
    const std::size_t ahead = std::min(size, m_fetched - m_taken);
    if (static_cast<std::int64_t>(size) > m_left || !_read(static_cast<char*>(target) + ahead, size - ahead))
        return false;
    std::copy_n(m_buffer.get() + m_taken, ahead, static_cast<char*>(target));
    m_taken += ahead;
    m_left -= static_cast<std::int64_t>(size);
    return true;
}

bool PayloadReader::endsFile(unsigned int type) const
{
    char bytes[ChunkHeaderBase::encodedSize];
    iovec piece{bytes, sizeof bytes};
    const std::int64_t end = m_start + m_size;
    ChunkEndHeader header;
    return fileLength(m_fd) == end + std::int64_t{sizeof bytes} &&
           readPieces(m_fd, &piece, 1, end).bytes == std::int64_t{sizeof bytes} && header.decode(bytes) &&
           header.type() == type && header.size() == m_size;
}

/// Has `size` bytes that were not handed out, or more, at the start of the buffer.
bool PayloadReader::_fetch(std::size_t size)
{
    const std::size_t ahead = m_fetched - m_taken;
    const auto wanted = std::min(static_cast<std::int64_t>(std::max(size, pieceSize)), m_left);
    if (wanted < static_cast<std::int64_t>(size))
        return false;
    const auto total = static_cast<std::size_t>(wanted);
    if (total > m_capacity) {
        auto larger = std::make_unique_for_overwrite<char[]>(total);
        std::copy_n(m_buffer.get() + m_taken, ahead, larger.get());
        m_buffer = std::move(larger);
        m_capacity = total;
    } else {
        std::copy(m_buffer.get() + m_taken, m_buffer.get() + m_fetched, m_buffer.get());
    }
    m_taken = 0;
    m_fetched = ahead;
    if (!_read(m_buffer.get() + ahead, total - ahead))
        return false;
    m_fetched = total;
    return true;
}

bool PayloadReader::_read(void* target, std::size_t size)
{
    iovec piece{target, size};
    if (readPieces(m_fd, &piece, 1, m_at).bytes != static_cast<std::int64_t>(size))
        return false;
    m_at += static_cast<std::int64_t>(size);
    return true;
}

} // namespace zd
