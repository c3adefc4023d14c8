#pragma once

#include <libdataio/export.h>

#include <cstddef>

namespace zd {

/// Bytes at an address that begins a memory page: reads into it run at full speed. Grows, never shrinks.
class DATAIO_EXPORT PayloadBuffer {
public:
    PayloadBuffer() = default;
    PayloadBuffer(const PayloadBuffer&) = delete;
    PayloadBuffer& operator=(const PayloadBuffer&) = delete;
    ~PayloadBuffer();

    /// Makes room for `size` bytes. When it has to grow, the content is lost. Throws std::bad_alloc, with
    /// buffer and content as they were.
    void reserve(std::size_t size);
    /// The content is not needed any more, and nobody may read it before the next `reserve`: the address sanitizer, where
    /// it is at work, reports who does.
    void forget();
    std::size_t capacity() const { return m_capacity; }
    char* data() { return m_data; } ///< null before the first `reserve`, which may be of 0 bytes
    const char* data() const { return m_data; }

private:
    char* m_data = nullptr;
    std::size_t m_capacity = 0;
};

} // namespace zd
