#include <log/logger.h>

#include <log/sinkslot_p.h>

#include <QDebug>
#include <QLoggingCategory>

#include <utility>

namespace zd {

namespace {

QtMsgType messageType(int rank)
{
    switch (rank) {
    case 1:
        return QtCriticalMsg;
    case 2:
        return QtWarningMsg;
    default:
        return QtInfoMsg;
    }
}

QString readableText(const LogRecord& record)
{
    return record.code.isEmpty() ? record.message : record.code + QLatin1StringView(": ") + record.message;
}

QDebug messageStream(const QMessageLogger& logger, QtMsgType type)
{
    switch (type) {
    case QtCriticalMsg:
        return logger.critical();
    case QtWarningMsg:
        return logger.warning();
    default:
        return logger.info();
    }
}

} // namespace

Logger::Logger(const QString& name, std::int32_t initialLevel)
    : level(initialLevel), m_name(name), m_categoryName(name.toUtf8())
{
}

Logger::~Logger() = default;

void Logger::setSink(Sink sink)
{
    SinkSlot::instance().replace(sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr);
}

bool Logger::forceLog(const LogLevel& rank, LogOrigin origin, const QString& code, const QString& message,
                      const LocationInfo& location)
{
    try {
        const LogRecord record{m_name, rank.rank(), origin, code, message, location};
        return SinkSlot::instance().deliver(record) || handToQt(record);
    } catch (...) {
        return false; // logging must never be the reason why a caller's operation fails
    }
}

bool Logger::handToQt(const LogRecord& record)
{
    const QtMsgType type = messageType(record.level);
    if (!category().isEnabled(type))
        return false;
    const LocationInfo& location = record.location;
    const QMessageLogger logger(location.file, location.line, location.function, m_categoryName.constData());
    messageStream(logger, type).noquote() << readableText(record);
    return true;
}

const QLoggingCategory& Logger::category()
{
    // Made when first needed: it sets up Qt's logging rules, which is too much to do while a library loads.
    std::call_once(m_categoryMade,
                   [this] { m_category = std::make_unique<const QLoggingCategory>(m_categoryName.constData()); });
    return *m_category;
}

} // namespace zd
