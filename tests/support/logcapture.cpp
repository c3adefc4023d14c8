#include <tests/support/logcapture.h>

namespace zd::test {

LogCapture::LogCapture(int level)
{
    Logger::setLevel(QStringLiteral("*"), level);
    Logger::setSink([this](const LogRecord& record) { records.push_back(record); });
}

LogCapture::~LogCapture()
{
    Logger::setSink({});
    Logger::setLevel(QStringLiteral("*"), 0);
}

} // namespace zd::test
