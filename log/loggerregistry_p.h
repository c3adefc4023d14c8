#pragma once

#include <log/levelrules_p.h>
#include <log/logger.h>

#include <map>
#include <memory>
#include <mutex>

namespace zd {

/// All loggers of the process, by name.
class LoggerRegistry {
public:
    /// Made on first use and never destroyed, so that logging works while libraries load and while the process exits.
    static LoggerRegistry& instance();

    Logger& logger(const QString& name);
    void setLevel(const QString& name, std::int32_t level);
    void setAllLevels(std::int32_t level);

private:
    struct LoggerDeleter {
        void operator()(Logger* logger) const { delete logger; }
    };

    LoggerRegistry();
    Logger& findOrMake(const QString& name);

    std::mutex m_mutex;
    LevelRules m_rules;
    std::map<QString, std::unique_ptr<Logger, LoggerDeleter>> m_loggers;
};

} // namespace zd
