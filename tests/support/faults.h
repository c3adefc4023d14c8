#pragma once

#include <libdataio/systemcalls_p.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <map>

#include <sys/resource.h>

namespace zd::test {

/// Sets of kinds of system calls.
using Calls = std::uint32_t;

namespace call {
inline constexpr Calls open = 1U << 0;
inline constexpr Calls duplicate = 1U << 1;
inline constexpr Calls stat = 1U << 2;
inline constexpr Calls fstat = 1U << 3;
inline constexpr Calls read = 1U << 4;
inline constexpr Calls write = 1U << 5;
inline constexpr Calls readPieces = 1U << 6;
inline constexpr Calls writePieces = 1U << 7;
inline constexpr Calls seek = 1U << 8;
inline constexpr Calls truncate = 1U << 9;
inline constexpr Calls allocate = 1U << 10;
inline constexpr Calls sync = 1U << 11;
inline constexpr Calls lock = 1U << 12;
inline constexpr Calls close = 1U << 13;
inline constexpr Calls rename = 1U << 14;
inline constexpr Calls unlink = 1U << 15;
inline constexpr Calls setAttribute = 1U << 16;
inline constexpr Calls getAttribute = 1U << 17;
inline constexpr Calls removeAttribute = 1U << 18;
inline constexpr Calls statFileSystem = 1U << 19;
inline constexpr Calls link = 1U << 20;

inline constexpr Calls reads = read | readPieces;
inline constexpr Calls writes = write | writePieces;
inline constexpr Calls transfers = reads | writes;
inline constexpr Calls all = ~Calls{0};
} // namespace call

/// How much of a call takes place before the fault.
enum class Share {
    Nothing,
    OneByte, ///< this and the next two: of a transfer, at least one byte; other calls have no effect
    Half,
    AllButOne,
    All, ///< the call takes full effect and fails all the same
};

struct Fault {
    int at = 0;                   ///< the call that fails, counted from 1 among the calls of `among`; 0: none does
    int error = EIO;              ///< errno of the failure; 0: transfers are cut short, and nothing fails
    Share share = Share::Nothing; ///< a transfer returns its share, and the next call fails
    bool lasting = false;         ///< all later calls of `among` fail as well; an interrupted one must not
    Calls among = call::all;
    bool deadly = false; ///< the process is killed where the call would fail, or be cut
};

/// Stands in for the operating system while it lives: counts the library's calls and makes one of them, or all
/// from one on, fail. A failing `close` still closes. One at a time, used by one thread.
class Faults {
public:
    explicit Faults(const Fault& fault = {});
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;
    ~Faults();

    /// Calls so far, of those kinds.
    int calls(Calls kinds = call::all) const;
    /// Whether the n-th call has come.
    bool struck() const { return m_fault.at != 0 && m_met >= m_fault.at; }

    enum class Fate {
        Passes,
        CutShort,
        Fails,
        FailsAfterwards,
    };
    /// Counts a call and says what becomes of it.
    Fate meet(Calls kind);
    const Fault& fault() const { return m_fault; }
    const SystemCalls& system() const { return m_system; }

private:
    const Fault m_fault;
    const SystemCalls m_system;
    int m_met = 0;      // calls of `m_fault.among`
    bool m_cut = false; // the n-th call was a transfer that moved its share
    std::map<Calls, int> m_calls;
};

/// Makes synchronisation return at once while it lives: it waits for a disk, and no test cuts the power.
class NoSynchronisation {
public:
    NoSynchronisation() : m_system(systemCalls)
    {
        systemCalls.fdatasync = [](int) { return 0; };
    }
    NoSynchronisation(const NoSynchronisation&) = delete;
    NoSynchronisation& operator=(const NoSynchronisation&) = delete;
    ~NoSynchronisation() { systemCalls = m_system; }

private:
    const SystemCalls m_system;
};

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
