#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace zd {

/// What the instrument's side counts.
struct FrameCounts {
    std::int64_t offered = 0;
    std::int64_t dropped = 0;
    std::int64_t abandoned = 0; ///< those of the dropped ones that were taken once
    std::int64_t passed = 0;
    std::int64_t refused = 0;
    std::int64_t deepest = 0;
    std::int64_t state = 0;
};

/// Counts that one thread at a time publishes and any thread reads, all of one moment, without a lock.
class PublishedCounts {
public:
    void publish(const FrameCounts& counts)
    {
        // Odd while they change: who reads any of the new values sees that, too.
        m_version.store(m_version.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        const Values values = _values(counts);
        for (std::size_t i = 0; i < values.size(); ++i)
            m_values[i].store(values[i], std::memory_order_release);
        m_version.store(m_version.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }

    FrameCounts read() const
    {
        for (;;) {
            const std::uint64_t before = m_version.load(std::memory_order_acquire);
            Values values;
            for (std::size_t i = 0; i < values.size(); ++i)
                values[i] = m_values[i].load(std::memory_order_acquire);
            if (before % 2 == 0 && m_version.load(std::memory_order_relaxed) == before)
                return {values[0], values[1], values[2], values[3], values[4], values[5], values[6]};
        }
    }

private:
    using Values = std::array<std::int64_t, 7>;

    static Values _values(const FrameCounts& counts)
    {
        return {counts.offered, counts.dropped, counts.abandoned, counts.passed,
                counts.refused, counts.deepest, counts.state};
    }

    std::atomic<std::uint64_t> m_version = 0;
    std::array<std::atomic<std::int64_t>, std::tuple_size_v<Values>> m_values{};
};

} // namespace zd
