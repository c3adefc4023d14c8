#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zd {

/// Reads the payload of one chunk from its start on, a piece at a time, so that a large one is never in memory as a
/// whole. The file must stay open.
class PayloadReader {
public:
    /// The payload of `size` bytes at the offset `start` of a file.
    PayloadReader(int fd, std::int64_t start, std::int64_t size)
        : m_fd(fd), m_start(start), m_size(size), m_at(start), m_left(size)
    {
    }

    /// Bytes not taken yet.
    std::int64_t left() const { return m_left; }
    /// The next `size` bytes, valid until the next call; null when there are not so many or they cannot be read.
    const char* next(std::size_t size);
    /// Copies the next `size` bytes to `target`; false when there are not so many or they cannot be read.
    bool next(void* target, std::size_t size);
    /// Whether the file ends, now, with the end header of this payload's chunk, whose type is given.
    bool endsFile(unsigned int type) const;

private:
    bool _fetch(std::size_t size);
    bool _read(void* target, std::size_t size);

    const int m_fd;
    const std::int64_t m_start;
    const std::int64_t m_size;
    std::int64_t m_at;   // file offset behind what was fetched
    std::int64_t m_left; // bytes not taken yet
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_capacity = 0;
    std::size_t m_taken = 0;   // bytes of the buffer that were handed out ...
    std::size_t m_fetched = 0; // ... of these
};

} // namespace zd
