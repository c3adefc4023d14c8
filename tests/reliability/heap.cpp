#include <tests/reliability/heap.h>

#include <atomic>

#if !DATAIO_SANITIZED
#include <cerrno>
#include <cstddef>

#include <malloc.h>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* memory, std::size_t size);
extern "C" void* __libc_memalign(std::size_t alignment, std::size_t size);
extern "C" void __libc_free(void* memory);
#endif

namespace zd::test::heap {

namespace {

constinit std::atomic<std::int64_t> usedBlocks = 0;
constinit std::atomic<std::int64_t> usedBytes = 0;
constinit std::atomic<std::int64_t> mostBytes = 0;

} // namespace

std::int64_t blocks()
{
    return usedBlocks;
}

std::int64_t bytes()
{
    return usedBytes;
}

std::int64_t peak()
{
    return mostBytes;
}

void resetPeak()
{
    mostBytes = bytes();
}

#if !DATAIO_SANITIZED

namespace {

thread_local int requestsLeft = 0; // until the one that fails; negative when it has; 0: none does
thread_local bool failsFromThenOn = false;

bool fails()
{
    if (requestsLeft == 0 || (requestsLeft < 0 && !failsFromThenOn) || --requestsLeft > 0)
        return false;
    requestsLeft = -1;
    errno = ENOMEM;
    return true;
}

void* taken(void* memory)
{
    if (memory == nullptr)
        return nullptr;
    ++usedBlocks;
    const std::int64_t now = usedBytes += static_cast<std::int64_t>(malloc_usable_size(memory));
    std::int64_t most = mostBytes;
    while (now > most && !mostBytes.compare_exchange_weak(most, now)) {
    }
    return memory;
}

void givenBack(void* memory)
{
    if (memory == nullptr)
        return;
    --usedBlocks;
    usedBytes -= static_cast<std::int64_t>(malloc_usable_size(memory));
}

} // namespace

MallocFault::MallocFault(int at, bool lasting)
{
    requestsLeft = at;
    failsFromThenOn = lasting;
}

MallocFault::~MallocFault()
{
    requestsLeft = 0;
}

bool MallocFault::struck() const
{
    return requestsLeft < 0;
}

#endif

} // namespace zd::test::heap

#if !DATAIO_SANITIZED

// The whole family is replaced together, so that every block that is freed was counted.
using namespace zd::test::heap;

extern "C" {

void* malloc(std::size_t size)
{
    return fails() ? nullptr : taken(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return fails() ? nullptr : taken(__libc_calloc(count, size));
}

void* realloc(void* memory, std::size_t size)
{
    if (fails())
        return nullptr;
    const std::size_t before = memory != nullptr ? malloc_usable_size(memory) : 0;
    void* moved = __libc_realloc(memory, size);
    if (memory != nullptr && (moved != nullptr || size == 0)) {
        --usedBlocks;
        usedBytes -= static_cast<std::int64_t>(before);
    }
    return taken(moved);
}

void* memalign(std::size_t alignment, std::size_t size)
{
    return fails() ? nullptr : taken(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size)
{
    void* block = memalign(alignment, size);
    if (block == nullptr)
        return ENOMEM;
    *memory = block;
    return 0;
}

void free(void* memory)
{
    givenBack(memory);
    __libc_free(memory);
}
}

#endif
