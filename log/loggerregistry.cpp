#include <log/loggerregistry_p.h>

#include <QtGlobal>

#include <utility>

namespace zd {

LoggerRegistry& LoggerRegistry::instance()
{
    static LoggerRegistry& registry = *new LoggerRegistry;
    return registry;
}

LoggerRegistry::LoggerRegistry() : m_rules(qgetenv("DATAIO_LOG")) {}

Logger& LoggerRegistry::logger(const QString& name)
{
    const std::lock_guard lock(m_mutex);
    return findOrMake(name);
}

void LoggerRegistry::setLevel(const QString& name, std::int32_t level)
{
    const std::lock_guard lock(m_mutex);
    findOrMake(name).level = level;
}

void LoggerRegistry::setAllLevels(std::int32_t level)
{
    const std::lock_guard lock(m_mutex);
    m_rules.setAll(level);
    for (auto& entry : m_loggers)
        entry.second->level = level;
}

Logger& LoggerRegistry::findOrMake(const QString& name)
{
    auto found = m_loggers.find(name);
    if (found == m_loggers.end()) {
        std::unique_ptr<Logger, LoggerDeleter> made(new Logger(name, m_rules.levelFor(name)));
        found = m_loggers.emplace(name, std::move(made)).first;
    }
    return *found->second;
}

Logger& Logger::logger(const QString& name)
{
    return LoggerRegistry::instance().logger(name);
}

void Logger::setLevel(const QString& name, int level)
{
    if (name == QLatin1StringView("*"))
        LoggerRegistry::instance().setAllLevels(level);
    else
        LoggerRegistry::instance().setLevel(name, level);
}

} // namespace zd
