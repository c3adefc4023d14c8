#pragma once

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <mutex>

namespace zd {

/// A count that one thread raises and others wait for. Raising it costs a lock only when somebody waits for just that.
class Milestone {
public:
    std::uint64_t reached() const { return m_reached.load(); }

    void raise()
    {
        if (m_reached.fetch_add(1) + 1 >= m_awaited.load())
            wakeAll();
    }
    /// Those who wait look at their conditions again.
    void wakeAll()
    {
        {
            const std::lock_guard lock(m_mutex);
            m_awaited = nobody;
        }
        m_changed.notify_all();
    }
    /// Waits until the count is `target`, or `given` up; whoever makes that true wakes all afterwards.
    template <typename GivenUp>
    void await(std::uint64_t target, GivenUp givenUp)
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            m_awaited = std::min(m_awaited.load(), target);
            if (reached() >= target || givenUp())
                return;
            m_changed.wait(lock);
        }
    }

private:
    static constexpr std::uint64_t nobody = std::numeric_limits<std::uint64_t>::max();

    alignas(64) std::atomic<std::uint64_t> m_reached = 0;
    std::atomic<std::uint64_t> m_awaited = nobody;
    std::mutex m_mutex;
    std::condition_variable m_changed;
};

} // namespace zd
