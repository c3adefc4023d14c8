#include <libdataio/payloadbuffer.h>

#include <new>

#if __has_include(<sanitizer/asan_interface.h>)
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(address, size) (static_cast<void>(address), static_cast<void>(size))
#define ASAN_UNPOISON_MEMORY_REGION(address, size) (static_cast<void>(address), static_cast<void>(size))
#endif

namespace zd {

static constexpr std::align_val_t pageAlignment{4096};

PayloadBuffer::~PayloadBuffer()
{
    ::operator delete(m_data, pageAlignment);
}

void PayloadBuffer::reserve(std::size_t size)
{
    if (size <= m_capacity && m_data != nullptr) {
        ASAN_UNPOISON_MEMORY_REGION(m_data, m_capacity);
        return;
    }
    char* grown = static_cast<char*>(::operator new(size, pageAlignment));
    ::operator delete(m_data, pageAlignment);
    m_data = grown;
    m_capacity = size;
}

void PayloadBuffer::forget()
{
    ASAN_POISON_MEMORY_REGION(m_data, m_capacity);
}

} // namespace zd
