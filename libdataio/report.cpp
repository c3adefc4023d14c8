#include <libdataio/report_p.h>

#include <common/iofileexception.h>

#include <QByteArray>
#include <QObject>

#include <cerrno>
#include <cstring>

namespace zd::report {

QString systemText(int error)
{
    char buffer[256];
    // The GNU form returns the text, which need not be in the buffer.
    return QString::fromLocal8Bit(strerror_r(error == 0 ? EIO : error, buffer, sizeof buffer));
}

QByteArray systemPath(const QString& path)
{
    return path.toUtf8();
}

QString translated(const char* text)
{
    return QObject::tr(text);
}

void fail(Logger& logger, LogOrigin origin, const char* code, const QString& message, const LocationInfo& location)
{
    const QString codeText = QString::fromLatin1(code);
    if (logger.level.load(std::memory_order_relaxed) >= LogLevel::getError().rank())
        logger.forceLog(LogLevel::getError(), origin, codeText, message, location);
    throw IOFileException(message, origin, codeText, QString(), location);
}

} // namespace zd::report
