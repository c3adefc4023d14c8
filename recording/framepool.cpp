#include <recording/framepool_p.h>

#include <recording/recordingfailure_p.h>

#include <cerrno>

#include <sys/mman.h>
#include <unistd.h>

namespace zd {

namespace {

Logger& logger = Logger::logger(QStringLiteral("dataio.recordingqueue"));

std::size_t pageBytes()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

[[noreturn]] void failMemory(int error, const LocationInfo& location)
{
    recording::fail(logger, System, "RQ_MEMORY",
                    QStringLiteral("No memory for the frames of the queue: ") + recording::systemText(error), location);
}

/// Pages that are all there already: none is met for the first time while frames come.
char* presentPages(std::size_t bytes)
{
    // More than the machine has would be promised, and then end the process.
    if (bytes / pageBytes() >= static_cast<std::size_t>(sysconf(_SC_PHYS_PAGES)))
        failMemory(ENOMEM, DATAIO_HERE);
    void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        failMemory(errno, DATAIO_HERE);
    madvise(pages, bytes, MADV_HUGEPAGE);
    auto* memory = static_cast<char*>(pages);
    for (std::size_t at = 0; at < bytes; at += pageBytes())
        static_cast<volatile char*>(memory)[at] = 0;
    return memory;
}

} // namespace

std::size_t FramePool::stride(std::size_t frameBytes)
{
    const std::size_t page = pageBytes();
    return (frameBytes + page - 1) / page * page;
}

FramePool::FramePool(std::size_t frameBytes, std::size_t slots)
    : m_stride(stride(frameBytes)), m_bytes(m_stride * slots), m_memory(presentPages(m_bytes)), m_slots(slots)
{
    for (std::size_t slot = slots; slot > 0; --slot)
        putBack(static_cast<Slot>(slot - 1));
}

FramePool::~FramePool()
{
    munmap(m_memory, m_bytes);
}

FramePool::Slot FramePool::take()
{
    // Since one thread takes at a time, a slot that is still uppermost has not been away.
    Slot top = m_free.load(std::memory_order_acquire);
    while (top != none && !m_free.compare_exchange_weak(top, _entry(top).below.load(std::memory_order_relaxed),
                                                        std::memory_order_acquire)) {
    }
    return top;
}

void FramePool::putBack(Slot slot)
{
    Slot top = m_free.load(std::memory_order_relaxed);
    do
        _entry(slot).below.store(top, std::memory_order_relaxed);
    while (!m_free.compare_exchange_weak(top, slot, std::memory_order_release, std::memory_order_relaxed));
}

void FramePool::publish(Slot slot, std::uint32_t holders)
{
    _entry(slot).holders.store(holders, std::memory_order_release);
}

bool FramePool::hold(Slot slot)
{
    std::atomic<std::uint32_t>& holders = _entry(slot).holders;
    std::uint32_t before = holders.load(std::memory_order_relaxed);
    while (before != 0 && !holders.compare_exchange_weak(before, before + 1, std::memory_order_acquire)) {
    }
    return before != 0;
}

void FramePool::release(Slot slot)
{
    if (_entry(slot).holders.fetch_sub(1, std::memory_order_acq_rel) == 1)
        putBack(slot);
}

} // namespace zd
