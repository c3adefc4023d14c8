#pragma once

#include <csignal>
#include <cstddef>

#include <sys/resource.h>

namespace zd::test {

/// While it lives no file of the process grows beyond `bytes`: writes end short, then fail with EFBIG.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::size_t bytes) : m_signal(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_signal);
    }

private:
    void (*m_signal)(int);
    rlimit m_before{};
};

} // namespace zd::test
