#pragma once

#include <recording/recordedframe.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zd {

/// Memory for a fixed number of frames, each at the beginning of a page, made before the first frame comes.
///
/// A slot is free, taken, or shared by as many holders as it has references. The one that was freed last is taken first,
/// so that a queue that keeps up stays within the processor's cache.
class FramePool {
public:
    using Slot = std::int32_t;
    static constexpr Slot none = -1;

    /// Bytes that a frame takes in a pool.
    static std::size_t stride(std::size_t frameBytes);

    /// Reports "RQ_MEMORY" when the system does not have as much.
    FramePool(std::size_t frameBytes, std::size_t slots);
    FramePool(const FramePool&) = delete;
    FramePool& operator=(const FramePool&) = delete;
    ~FramePool();

    void* samples(Slot slot) const { return m_memory + m_stride * static_cast<std::size_t>(slot); }
    /// Of a slot that is the caller's alone.
    void setNote(Slot slot, const FrameNote& note) { _entry(slot).note = note; }
    const FrameNote& note(Slot slot) const { return m_slots[static_cast<std::size_t>(slot)].note; }

    /// A free slot that is the caller's alone, `none` when there is none. By one thread at a time.
    Slot take();
    /// Puts back a slot that was taken and not published.
    void putBack(Slot slot);
    /// The taken slot is complete and has that many holders.
    void publish(Slot slot, std::uint32_t holders);
    /// One holder more, of a slot that has any; false when it has none.
    bool hold(Slot slot);
    /// One holder less; the last one frees it.
    void release(Slot slot);

private:
    struct Entry {
        std::atomic<std::uint32_t> holders = 0;
        std::atomic<Slot> below = none; // the next free one
        FrameNote note;
    };

    Entry& _entry(Slot slot) { return m_slots[static_cast<std::size_t>(slot)]; }

    const std::size_t m_stride;
    const std::size_t m_bytes;
    char* const m_memory;
    std::vector<Entry> m_slots;
    std::atomic<Slot> m_free = none; // the uppermost of the free ones
};

} // namespace zd
