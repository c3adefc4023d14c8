#pragma once

#include <log/logger.h>

#include <QString>

/// The one place of this library that builds failures.
namespace zd::recording {

/// Logs an error when the logger's level allows, then throws an IOFileException of the same content.
[[noreturn]] void fail(Logger& logger, LogOrigin origin, const char* code, const QString& message,
                       const LocationInfo& location);

/// The system's text for an error number.
QString systemText(int error);

} // namespace zd::recording
