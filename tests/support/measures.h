#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include <time.h>

// DATAIO_SANITIZED is 1 in builds with a sanitizer that brings a `malloc` of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define DATAIO_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define DATAIO_SANITIZED 1
#endif
#endif
#ifndef DATAIO_SANITIZED
#define DATAIO_SANITIZED 0
#endif

namespace zd::test {

/// Prints a figure of the running test, to be quoted.
template <typename Value>
void figure(const char* what, const Value& value)
{
    std::cout << "  " << what << ": " << value << '\n';
}

/// Whether the long forms of tests were asked for, with DATAIO_LONG=1 in the environment.
inline bool isLongRun()
{
    const char* wish = std::getenv("DATAIO_LONG");
    return wish != nullptr && *wish != '\0' && *wish != '0';
}

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

/// Bytes of memory by the system's account of this process: "VmRSS" it has now, "VmHWM" it has had at most.
inline std::int64_t residentMemory(const std::string& figure)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(figure + ":"))
            return std::stoll(line.substr(figure.size() + 1)) * 1024;
    }
    throw std::runtime_error("no " + figure);
}

} // namespace zd::test
