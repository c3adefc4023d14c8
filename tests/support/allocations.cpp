#include <tests/support/allocations.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace zd::test {

namespace {

Allocations* active = nullptr;

void* allocated(std::size_t size, std::size_t alignment) noexcept
{
    if (active != nullptr && !active->meet(size))
        return nullptr;
    const std::size_t asked = std::max<std::size_t>(size, 1);
    if (alignment <= alignof(std::max_align_t))
        return std::malloc(asked);
    return std::aligned_alloc(alignment, (asked + alignment - 1) / alignment * alignment);
}

void* allocatedOrThrow(std::size_t size, std::size_t alignment)
{
    void* memory = allocated(size, alignment);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

} // namespace

Allocations::Allocations(const AllocationFault& fault) : m_fault(fault)
{
    if (active != nullptr)
        throw std::logic_error("one Allocations at a time");
    active = this;
}

Allocations::~Allocations()
{
    active = nullptr;
}

bool Allocations::meet(std::size_t size)
{
    ++m_count;
    m_largest = std::max(m_largest, size);
    const bool struck = m_fault.at != 0 && (m_fault.lasting ? m_count >= m_fault.at : m_count == m_fault.at);
    return size <= m_fault.above && !struck;
}

} // namespace zd::test

// The whole family is replaced together, so that every form of delete fits every form of new.
// clang-format off
using zd::test::allocated;
using zd::test::allocatedOrThrow;
constexpr std::size_t usual = alignof(std::max_align_t);
using Size = std::size_t;
using Alignment = std::align_val_t;
using NoThrow = const std::nothrow_t&;

void* operator new(Size size) { return allocatedOrThrow(size, usual); }
void* operator new[](Size size) { return allocatedOrThrow(size, usual); }
void* operator new(Size size, Alignment alignment) { return allocatedOrThrow(size, Size(alignment)); }
void* operator new[](Size size, Alignment alignment) { return allocatedOrThrow(size, Size(alignment)); }
void* operator new(Size size, NoThrow) noexcept { return allocated(size, usual); }
void* operator new[](Size size, NoThrow) noexcept { return allocated(size, usual); }
void* operator new(Size size, Alignment alignment, NoThrow) noexcept { return allocated(size, Size(alignment)); }
void* operator new[](Size size, Alignment alignment, NoThrow) noexcept { return allocated(size, Size(alignment)); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, Size) noexcept { std::free(memory); }
void operator delete[](void* memory, Size) noexcept { std::free(memory); }
void operator delete(void* memory, Alignment) noexcept { std::free(memory); }
void operator delete[](void* memory, Alignment) noexcept { std::free(memory); }
void operator delete(void* memory, Size, Alignment) noexcept { std::free(memory); }
void operator delete[](void* memory, Size, Alignment) noexcept { std::free(memory); }
void operator delete(void* memory, NoThrow) noexcept { std::free(memory); }
void operator delete[](void* memory, NoThrow) noexcept { std::free(memory); }
void operator delete(void* memory, Alignment, NoThrow) noexcept { std::free(memory); }
void operator delete[](void* memory, Alignment, NoThrow) noexcept { std::free(memory); }
// clang-format on
