#pragma once

#include <log/logger.h>

#include <QByteArray>
#include <QString>

#include <utility>

/// The one place that builds errors, warnings and information records.
namespace zd::report {

/// The system's text for an error number, as text. 0 counts as an input/output error, so that a message never
/// ends in the text for success.
QString systemText(int error);

/// The path in the form that system calls take: UTF-8, whatever the locale.
QByteArray systemPath(const QString& path);

/// A stored byte text, Latin-1, passed through the translation lookup.
QString translated(const char* text);

/// Logs an error when the logger's level allows, then throws an IOFileException of the same content.
[[noreturn]] void fail(Logger& logger, LogOrigin origin, const char* code, const QString& message,
                       const LocationInfo& location);

/// Logs a condition that does not stop the operation. `message` is called only when the level allows.
template <typename Message>
void note(Logger& logger, const LogLevel& rank, const char* code, Message message, const LocationInfo& location)
{
    if (logger.level.load(std::memory_order_relaxed) >= rank.rank())
        logger.forceLog(rank, Library, QLatin1StringView(code), message(), location);
}

} // namespace zd::report
