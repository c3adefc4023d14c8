#pragma once

#include <log/logger.h>

#include <vector>

namespace zd::test {

/// Collects every log record while it lives, and restores sink and levels afterwards.
class LogCapture {
public:
    /// Sets all loggers to `level`: 0 nothing, 1 errors, 2 warnings, 3 information.
    explicit LogCapture(int level = 3);
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture();

    std::vector<LogRecord> records;
};

} // namespace zd::test
