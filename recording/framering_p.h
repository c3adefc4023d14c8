#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zd {

/// Frames on their way from the instrument's side to the writing thread, in order. One thread at a time puts them in, one
/// other takes them out.
class FrameRing {
public:
    struct Entry {
        std::int32_t slot = -1; ///< of the pool
        std::int64_t number = 0;
    };

    explicit FrameRing(std::size_t atLeast) : m_entries(std::bit_ceil(atLeast)) {}

    /// There must be room.
    void put(const Entry& entry)
    {
        const std::uint64_t end = m_put.load(std::memory_order_relaxed);
        m_entries[end & (m_entries.size() - 1)] = entry;
        m_put.store(end + 1, std::memory_order_release);
    }
    /// How many were ever put in.
    std::uint64_t put() const { return m_put.load(std::memory_order_acquire); }
    /// What was put in as number `position`, while it is there.
    const Entry& at(std::uint64_t position) const { return m_entries[position & (m_entries.size() - 1)]; }

private:
    std::vector<Entry> m_entries;
    alignas(64) std::atomic<std::uint64_t> m_put = 0;
};

} // namespace zd
