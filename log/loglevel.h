#pragma once

#include <log/export.h>

namespace zd {

/// The rank of a log record. There are three shared, immutable levels; callers never make their own.
class DATAIO_LOG_EXPORT LogLevel {
public:
    static const LogLevel& getError();   ///< rank 1
    static const LogLevel& getWarning(); ///< rank 2
    static const LogLevel& getInfo();    ///< rank 3

    /// A logger forms the record when its own level is at least this rank.
    int rank() const { return m_rank; }

    LogLevel(const LogLevel&) = delete;
    LogLevel& operator=(const LogLevel&) = delete;

private:
    explicit constexpr LogLevel(int rank) : m_rank(rank) {}
    int m_rank;
};

} // namespace zd
