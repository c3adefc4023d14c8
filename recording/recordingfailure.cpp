#include <recording/recordingfailure_p.h>

#include <common/iofileexception.h>

#include <system_error>

namespace zd::recording {

void fail(Logger& logger, LogOrigin origin, const char* code, const QString& message, const LocationInfo& location)
{
    const QString codeText = QString::fromLatin1(code);
    if (logger.level.load(std::memory_order_relaxed) >= LogLevel::getError().rank())
        logger.forceLog(LogLevel::getError(), origin, codeText, message, location);
    throw IOFileException(message, origin, codeText, QString(), location);
}

QString systemText(int error)
{
    return QString::fromLocal8Bit(std::generic_category().message(error).c_str());
}

} // namespace zd::recording
