#include <libdataio/payloadbuffer.h>

#include <new>

namespace zd {

static constexpr std::align_val_t pageAlignment{4096};

PayloadBuffer::~PayloadBuffer()
{
    ::operator delete(m_data, pageAlignment);
}

void PayloadBuffer::reserve(std::size_t size)
{
    if (size <= m_capacity && m_data != nullptr)
        return;
    char* grown = static_cast<char*>(::operator new(size, pageAlignment));
    ::operator delete(m_data, pageAlignment);
    m_data = grown;
    m_capacity = size;
}

} // namespace zd
