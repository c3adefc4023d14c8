#pragma once

#include <log/export.h>
#include <log/locationinfo.h>
#include <log/loglevel.h>
#include <log/logorigin.h>

#include <QByteArray>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

class QLoggingCategory;

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
/// a list of `name=level` separated by commas, in which `*` stands for every logger that is not named, for
/// example `DATAIO_LOG="dataio.imagereader=3,*=1"`. Spaces are allowed around names and levels, the last entry
/// for a name counts, and entries that make no sense are skipped. It is read once, when logging is first used.
class DATAIO_LOG_EXPORT Logger {
public:
    using Sink = std::function<void(const LogRecord&)>;

    /// The logger of that name; the reference stays valid for the life of the process.
    static Logger& logger(const QString& name);

    /// Sets the level of one logger (made now if there is none yet), or with "*" of all loggers, present and future.
    static void setLevel(const QString& name, int level);

    /// Directs all records to `sink`; an empty one restores the default, which hands each record to Qt's
    /// message handling under the category of the logger's name, as "code: message", or the message alone
    /// when there is no code. Error records become critical messages; the category's filter rules apply.
    ///
    /// The sink runs in the thread that logs and is called by one thread at a time, so it must not wait for
    /// another thread that logs or sets the sink. It may log itself: those records take the default way. It may
    /// also call `setSink`. In any other place `setSink` waits for a running sink: the replaced one is never
    /// called again. Qt's message handling, the default, may be entered by several threads at a time.
    static void setSink(Sink sink);

    /// Writes a record without testing the level. Never throws. Returns whether the record was taken: not when the
    /// sink throws, nor when it is absent and Qt's filter rules turn the record away.
    bool forceLog(const LogLevel& rank, LogOrigin origin, const QString& code, const QString& message,
                  const LocationInfo& location);

    const QString& name() const { return m_name; }

    /// The threshold: a record of rank r is formed only when this is at least r; 0 and below silence the logger.
    std::atomic<std::int32_t> level;

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

private:
    Logger(const QString& name, std::int32_t initialLevel);
    ~Logger();
    friend class LoggerRegistry;

    bool handToQt(const LogRecord& record);
    const QLoggingCategory& category();

    const QString m_name;
    const QByteArray m_categoryName; // Qt keeps pointers to this text for ever
    std::once_flag m_categoryMade;
    std::unique_ptr<const QLoggingCategory> m_category;
};

} // namespace zd
