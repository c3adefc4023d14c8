#pragma once

#include <common/iofileexception.h>
#include <log/logger.h>

#include <QTranslator>

#include <string>
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

/// While it lives, marks every text that is looked up for an object: "text" becomes "<text>". Needs an application.
class MarkingTranslator : public QTranslator {
public:
    MarkingTranslator();
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char*, int) const override;
};

/// Checks that the report was logged first, by the logger and with the origin and the words that belong to its code,
/// and that these can be translated where they should be. Returns code and message, as `described` does.
std::string checkedReport(const IOFileException& report, const std::vector<LogRecord>& records);

/// Runs `operation` and returns its report, checked, as "CODE: message"; empty when it reports nothing.
template <typename Operation>
std::string reportOf(Operation operation)
{
    const MarkingTranslator translator;
    const LogCapture log(1);
    try {
        operation();
    } catch (const IOFileException& e) {
        return checkedReport(e, log.records);
    }
    return {};
}

/// The code alone.
template <typename Operation>
std::string codeOf(Operation operation)
{
    const std::string report = reportOf(operation);
    return report.substr(0, report.find(':'));
}

/// The report of that code whose message ends with the system's text for an error.
std::string described(const std::string& code, int error);

} // namespace zd::test
