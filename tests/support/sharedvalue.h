#pragma once

#include <new>

#include <sys/mman.h>

namespace zd::test {

/// A value in memory that the process shares with its children; it lives as long as they do.
template <typename T>
T& sharedValue()
{
    void* memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    return *new (memory) T;
}

} // namespace zd::test
