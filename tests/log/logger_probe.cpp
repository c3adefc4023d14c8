// Logs before and after main, and prints the levels that the loggers named on the command line start with.

#include <log/logger.h>

#include <cstdio>

namespace {

void report(const char* name, const char* code)
{
    zd::Logger& logger = zd::Logger::logger(QLatin1StringView(name));
    logger.forceLog(zd::LogLevel::getError(), zd::System, QLatin1StringView(code), QStringLiteral("said"), DATAIO_HERE);
}

// Made before anything has logged, and so destroyed after all that logging sets up.
struct LogsWhenDestroyed {
    ~LogsWhenDestroyed()
    {
        report("probe.early", "LATE");
        report("probe.late", "NEW");
    }
} logsWhenDestroyed;

struct LogsWhenMade {
    LogsWhenMade() { report("probe.early", "EARLY"); }
} logsWhenMade;

} // namespace

int main(int count, char** names)
{
    for (int i = 1; i < count; ++i)
        std::printf("%s %d\n", names[i], zd::Logger::logger(QString::fromUtf8(names[i])).level.load());
    std::fflush(stdout);
    return 0;
}
