#include <log/logger.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QLoggingCategory>

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zd {
namespace {

/// Collects what arrives at Qt's message handling. Restores handler, filter rules, sink and levels.
class LoggerTest : public testing::Test {
protected:
    LoggerTest() : m_previousHandler(qInstallMessageHandler(&LoggerTest::receive)) { s_messages.clear(); }

    ~LoggerTest() override
    {
        qInstallMessageHandler(m_previousHandler);
        QLoggingCategory::setFilterRules(QString());
        Logger::setSink({});
        Logger::setLevel(QStringLiteral("*"), 0);
    }

    using Messages = std::vector<std::string>;
    static inline Messages s_messages;

private:
    static void receive(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        static std::mutex mutex;
        const std::lock_guard lock(mutex);
        s_messages.push_back(std::to_string(type) + '|' + context.category + '|' + text.toStdString() + '|' +
                             context.file + ':' + std::to_string(context.line) + ':' + context.function);
    }

    QtMessageHandler m_previousHandler;
};

bool log(const char* message, const LogLevel& level = LogLevel::getError(), const char* code = "CODE")
{
    return Logger::logger(QStringLiteral("dataio.test"))
        .forceLog(level, File, QLatin1StringView(code), QString::fromUtf8(message), {"a.cpp", "f()", 12});
}

TEST_F(LoggerTest, OneLoggerPerNameWithALevelOfItsOwn)
{
    const auto levelOf = [](const char* name) -> int { return Logger::logger(QString::fromLatin1(name)).level; };
    Logger& first = Logger::logger(QStringLiteral("dataio.test.first"));
    EXPECT_EQ(&first, &Logger::logger(QStringLiteral("dataio.test.first")));

    Logger::setLevel(QStringLiteral("*"), -5);
    Logger::setLevel(QStringLiteral("dataio.test.first"), 3);
    Logger::setLevel(QStringLiteral("dataio.test.unmade"), 1);
    EXPECT_EQ(first.level, 3);
    EXPECT_EQ(levelOf("dataio.test.unmade"), 1);
    EXPECT_EQ(levelOf("dataio.test.after"), -5);
    Logger::setLevel(QStringLiteral("*"), 2);
    EXPECT_EQ(first.level, 2);
}

TEST_F(LoggerTest, SinkReceivesEveryFieldAtAnyLevel)
{
    int calls = 0;
    Logger::setSink([&](const LogRecord& record) {
        EXPECT_EQ(record.logger, QStringLiteral("dataio.test"));
        EXPECT_EQ(record.level, 2);
        EXPECT_EQ(record.origin, File);
        EXPECT_EQ(record.code, QStringLiteral("CODE"));
        EXPECT_EQ(record.message, QStringLiteral("m"));
        EXPECT_STREQ(record.location.file, "a.cpp");
        EXPECT_STREQ(record.location.function, "f()");
        EXPECT_EQ(record.location.line, 12);
        if (++calls == 1)
            throw std::runtime_error("full");
    });
    Logger::setLevel(QStringLiteral("*"), 0);
    EXPECT_FALSE(log("m", LogLevel::getWarning())) << "a sink that throws takes nothing";
    EXPECT_TRUE(log("m", LogLevel::getWarning()));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(s_messages, Messages{});
}

TEST_F(LoggerTest, SinkMayLogAndReplaceItself)
{
    auto alive = std::make_shared<int>(0);
    Messages later;
    Logger::setSink([alive, &later](const LogRecord&) {
        EXPECT_TRUE(log("from the sink"));
        Logger::setSink([&later](const LogRecord& record) { later.push_back(record.message.toStdString()); });
        ++*alive;
    });
    EXPECT_TRUE(log("first"));
    EXPECT_EQ(*alive, 1);
    EXPECT_EQ(alive.use_count(), 1) << "the replaced sink is released";
    EXPECT_TRUE(log("second"));
    EXPECT_EQ(later, Messages{"second"});
    EXPECT_EQ(s_messages, Messages{"2|dataio.test|CODE: from the sink|a.cpp:12:f()"});
}

TEST_F(LoggerTest, WithoutASinkQtReceivesTheRecordUnderItsFilterRules)
{
    EXPECT_TRUE(log("bad %1 %s "));
    EXPECT_TRUE(log("odd", LogLevel::getWarning()));
    EXPECT_TRUE(log("\"é\"\n", LogLevel::getInfo(), ""));
    QLoggingCategory::setFilterRules(QStringLiteral("dataio.*.warning=false\ndataio.test.critical=true"));
    EXPECT_FALSE(log("filtered", LogLevel::getWarning()));
    EXPECT_TRUE(log("passed"));
    EXPECT_EQ(s_messages,
              (Messages{"2|dataio.test|CODE: bad %1 %s |a.cpp:12:f()", "1|dataio.test|CODE: odd|a.cpp:12:f()",
                        "4|dataio.test|\"é\"\n|a.cpp:12:f()", "2|dataio.test|CODE: passed|a.cpp:12:f()"}));
}

/// A sink that notices being run twice at a time or after its replacement.
struct WatchfulSink {
    std::atomic<int> running = 0;
    std::atomic<bool> retired = false;
    std::atomic<int> faults = 0;
    std::atomic<int> taken = 0;

    void take(const LogRecord& record)
    {
        const bool alone = ++running == 1;
        std::this_thread::yield(); // gives other threads the chance to come in
        if (!alone || retired || record.message != QStringLiteral("busy"))
            ++faults;
        ++taken;
        --running;
    }
};

TEST_F(LoggerTest, ThreadsLogWhileSinksAndLevelsChange)
{
    std::atomic<int> accepted = 0;
    std::atomic<bool> stop = false;
    const auto logOn = [&](int first) {
        for (int i = first; !stop; ++i) {
            Logger& logger = Logger::logger(QStringLiteral("dataio.test.thread%1").arg(i % 16));
            if (logger.level >= 1 && logger.forceLog(LogLevel::getError(), Library, QStringLiteral("T"),
                                                     QStringLiteral("busy"), DATAIO_HERE))
                ++accepted;
            std::this_thread::yield(); // lets the main thread have the sink's lock
        }
    };
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back(logOn, t);

    std::array<WatchfulSink, 2> sinks;
    for (std::size_t round = 0; round < 1000 || sinks[0].taken + sinks[1].taken == 0; ++round) {
        WatchfulSink& next = sinks[round % 2];
        next.retired = false;
        Logger::setSink([&next](const LogRecord& record) { next.take(record); });
        sinks[(round + 1) % 2].retired = true;
        Logger::setLevel(QStringLiteral("*"), static_cast<int>(round % 3));
        Logger::setLevel(QStringLiteral("dataio.test.thread%1").arg(round % 16), 1);
        std::this_thread::yield();
        if (round % 7 == 0) {
            Logger::setSink({});
            next.retired = true;
        }
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(sinks[0].faults + sinks[1].faults, 0);
    EXPECT_EQ(static_cast<std::size_t>(sinks[0].taken + sinks[1].taken) + s_messages.size(),
              static_cast<std::size_t>(accepted));
}

/// What the probe writes, with `DATAIO_LOG` set to `levels`.
std::string runProbe(const std::string& levels, const std::string& arguments)
{
    const std::string command = "DATAIO_LOG='" + levels +
                                "' QT_ASSUME_STDERR_HAS_CONSOLE=1 QT_MESSAGE_PATTERN='%{category}|%{type}|%{message}' "
                                "'" LOGGER_PROBE "' " +
                                arguments + " 2>&1";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), &pclose);
    std::string output;
    for (int c; pipe && (c = std::getc(pipe.get())) != EOF;)
        output += static_cast<char>(c);
    return output;
}

TEST(LoggerProcessTest, LogsFromStaticInitializationUntilExit)
{
    // At the end Qt has let go of its message pattern, and only the text is left.
    EXPECT_THAT(runProbe("", "a"),
                testing::MatchesRegex("probe.early.critical.EARLY: said\na 2\n.*LATE: said\n.*NEW: said\n"));
}

TEST(LoggerProcessTest, EnvironmentSetsTheFirstLevels)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "a 2\nb 2\n"},
        {"a=3,*=1", "a 3\nb 1\n"},
        {" a = 3 ,\t* = 0 ", "a 3\nb 0\n"},
        {"a=3,a=-1,*=3,*=1", "a -1\nb 1\n"},
        {"a,=3,a=,a=x,a=1x,a=1=2,b=99999999999,,*", "a 2\nb 2\n"},
        {"a=2147483647,b=-2147483648", "a 2147483647\nb -2147483648\n"},
        {"A=3,\xff=1", "a 2\nb 2\n"},
    };
    for (const auto& [levels, expected] : cases)
        EXPECT_THAT(runProbe(levels, "a b"), testing::HasSubstr(std::string("said\n") + expected)) << levels;
}

} // namespace
} // namespace zd
