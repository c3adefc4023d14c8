#pragma once

#include <common/iofileexception.h>
#include <tests/support/logcapture.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace zd::test {

/// What a failing operation reported.
struct Report {
    std::string code;
    std::string message;
    int origin;
};

inline bool operator==(const Report& a, const Report& b)
{
    return a.code == b.code && a.message == b.message && a.origin == b.origin;
}

inline std::ostream& operator<<(std::ostream& out, const Report& report)
{
    return out << report.code << " (" << report.origin << "): " << report.message;
}

/// A message that ends with the system's text for an error.
inline std::string withSystemText(const std::string& prefix, int error)
{
    return prefix + std::strerror(error);
}

/// Runs `operation`, which must throw an IOFileException, and returns what it carried. Checks that exactly one
/// error record of the same content was logged by `logger` just before.
template <typename Operation>
Report reportOf(const char* logger, Operation operation)
{
    LogCapture log(1);
    try {
        operation();
    } catch (const IOFileException& e) {
        EXPECT_EQ(e.detail(), QString());
        EXPECT_GT(e.location().line, 0);
        EXPECT_EQ(log.records.size(), 1U);
        if (!log.records.empty()) {
            const LogRecord& record = log.records.back();
            EXPECT_EQ(record.logger.toStdString(), logger);
            EXPECT_EQ(record.level, 1);
            EXPECT_EQ(record.code, e.code());
            EXPECT_EQ(record.message, e.message());
            EXPECT_EQ(record.origin, e.origin());
            EXPECT_EQ(record.location.line, e.location().line);
            EXPECT_STREQ(record.location.file, e.location().file);
        }
        return {e.code().toStdString(), e.message().toStdString(), static_cast<int>(e.origin())};
    }
    ADD_FAILURE() << "nothing was reported";
    return {"", "", -1};
}

/// The same for an operation that can be repeated: checks as well that at level 0 it throws the same without a record.
template <typename Operation>
Report repeatedReportOf(const char* logger, Operation operation)
{
    const Report logged = reportOf(logger, operation);
    LogCapture silence(0);
    try {
        operation();
        ADD_FAILURE() << "nothing was reported the second time";
    } catch (const IOFileException& e) {
        const Report silent{e.code().toStdString(), e.message().toStdString(), static_cast<int>(e.origin())};
        EXPECT_EQ(silent, logged);
    }
    EXPECT_EQ(silence.records.size(), 0U);
    return logged;
}

/// The code of what `operation` reports, quietly; empty when it reports nothing.
template <typename Operation>
std::string codeOf(Operation operation)
{
    LogCapture silence(0);
    try {
        operation();
    } catch (const IOFileException& e) {
        return e.code().toStdString();
    }
    return {};
}

} // namespace zd::test
