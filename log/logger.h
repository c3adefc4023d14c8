#pragma once

#include <log/export.h>
#include <log/locationinfo.h>
#include <log/loglevel.h>
#include <log/logorigin.h>

#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>

namespace zd {

/// One record as a sink receives it.
struct LogRecord {
    QString logger; ///< name of the logger, such as "dataio.imagereader"
    int level = 0;  ///< rank: 1 error, 2 warning, 3 information
    LogOrigin origin = Library;
    QString code; ///< such as "CHB_LFD_PARSE"; empty for the plain information record
    QString message;
    LocationInfo location;
};

/// A named source of log records with a level of its own.
///
/// Loggers are made on first use, live as long as the process and are usable while libraries load and
/// while the process exits. All operations may be called from several threads at once.
///
/// A new logger has level 2 (warnings), unless the environment variable `DATAIO_LOG` says otherwise:
/// a list of `name=level` separated by commas, in which `*` stands for every other logger, for example
/// `DATAIO_LOG="dataio.imagereader=3,*=1"`.
class DATAIO_LOG_EXPORT Logger {
public:
    using Sink = std::function<void(const LogRecord&)>;

    /// The logger of that name; the reference stays valid for the life of the process.
    static Logger& logger(const QString& name);

    /// Sets the level of one logger (made now if there is none yet), or with "*" of all loggers, present and future.
    static void setLevel(const QString& name, int level);

    /// Directs all records to `sink`; an empty one restores the default, which hands each record to Qt's
    /// message handling under the category of the logger's name. The sink runs in the thread that logs
    /// and is called by one thread at a time. It may log itself.
    static void setSink(Sink sink);

    /// Writes a record without testing the level. Returns whether a sink took it: a sink that throws counts as no.
    bool forceLog(const LogLevel& rank, LogOrigin origin, const QString& code, const QString& message,
                  const LocationInfo& location);

    const QString& name() const { return m_name; }

    /// The threshold: a record of rank r is formed only when this is at least r; 0 and below silence the logger.
    std::atomic<std::int32_t> level;

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

private:
    Logger(const QString& name, std::int32_t initialLevel) : level(initialLevel), m_name(name) {}
    ~Logger() = default;
    friend class LoggerRegistry;

    QString m_name;
};

} // namespace zd
