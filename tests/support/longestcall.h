#pragma once

#include <atomic>
#include <cstdint>

#include <time.h>

namespace zd::test {

/// The longest of many calls, in microseconds. May lie in memory that processes share.
class LongestCall {
public:
    /// Makes a call, and notes how long it takes, however it ends.
    template <typename Call>
    auto timed(Call call)
    {
        const Stopwatch stopwatch(*this);
        return call();
    }

    std::int64_t elapsed() const { return m_elapsed; }
    /// Time of the processor: what others do at the same time does not count.
    std::int64_t processor() const { return m_processor; }

private:
    static std::int64_t now(clockid_t clock)
    {
        timespec time{};
        clock_gettime(clock, &time);
        return time.tv_sec * std::int64_t{1'000'000} + time.tv_nsec / 1000;
    }

    static void raise(std::atomic<std::int64_t>& most, std::int64_t value)
    {
        std::int64_t before = most;
        while (value > before && !most.compare_exchange_weak(before, value)) {
        }
    }

    struct Stopwatch {
        explicit Stopwatch(LongestCall& of) : longest(of) {}
        Stopwatch(const Stopwatch&) = delete;
        Stopwatch& operator=(const Stopwatch&) = delete;
        ~Stopwatch()
        {
            raise(longest.m_elapsed, now(CLOCK_MONOTONIC) - start);
            raise(longest.m_processor, now(CLOCK_PROCESS_CPUTIME_ID) - startProcessor);
        }

        LongestCall& longest;
        const std::int64_t start = now(CLOCK_MONOTONIC);
        const std::int64_t startProcessor = now(CLOCK_PROCESS_CPUTIME_ID);
    };

    std::atomic<std::int64_t> m_elapsed = 0;
    std::atomic<std::int64_t> m_processor = 0;
};

} // namespace zd::test
