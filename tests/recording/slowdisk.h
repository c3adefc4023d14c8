#pragma once

#include <libdataio/systemcalls_p.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

namespace zd::test {

/// Stands before the disk while it lives: holds writes of any thread up, lets them pass or makes them fail.
class SlowDisk {
public:
    SlowDisk() : m_system(systemCalls)
    {
        s_held = s_failing = s_waiting = 0;
        s_write = m_system.pwritev;
        systemCalls.pwritev = [](int fd, const iovec* pieces, int count, off_t offset) {
            for (s_waiting = s_held.load(); s_held; s_waiting = 1)
                std::this_thread::sleep_for(std::chrono::microseconds{100});
            if (s_failing == 0)
                return s_write(fd, pieces, count, offset);
            errno = s_failing;
            return ssize_t{-1};
        };
    }
    SlowDisk(const SlowDisk&) = delete;
    SlowDisk& operator=(const SlowDisk&) = delete;
    ~SlowDisk()
    {
        release();
        systemCalls = m_system;
    }

    void hold() { s_held = 1; }
    void release() { s_held = 0; }
    /// Returns when a write waits for `release`.
    void awaitWrite() const
    {
        while (!s_waiting)
            std::this_thread::sleep_for(std::chrono::microseconds{100});
    }
    /// Writes fail with this error from now on; 0: no more.
    void fail(int error) { s_failing = error; }

private:
    const SystemCalls m_system;
    static inline std::atomic<int> s_held;
    static inline std::atomic<int> s_failing;
    static inline std::atomic<int> s_waiting;
    static inline ssize_t (*s_write)(int, const iovec*, int, off_t);
};

} // namespace zd::test
