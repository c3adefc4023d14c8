#include <common/iofileexception.h>
#include <libdataio/report_p.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace zd {

using test::LogCapture;

TEST(ReportTest, TheSystemsTextIsNeverThatOfSuccess)
{
    EXPECT_EQ(report::systemText(ENOSPC).toStdString(), std::strerror(ENOSPC));
    EXPECT_EQ(report::systemText(0).toStdString(), std::strerror(EIO));
}

TEST(ReportTest, AFailureIsThrownAtEveryLevelAndLoggedFromOne)
{
    Logger& logger = Logger::logger(QStringLiteral("dataio.chunkheader"));
    const LocationInfo here = DATAIO_HERE;
    for (const int level : {-1, 0, 1, 2, 3}) {
        const LogCapture log(level);
        try {
            report::fail(logger, System, "CODE_1", QStringLiteral("100%1 é"), here);
        } catch (const IOFileException& e) {
            EXPECT_EQ(e.code(), QStringLiteral("CODE_1"));
            EXPECT_EQ(e.message(), QStringLiteral("100%1 é"));
            EXPECT_EQ(e.origin(), System);
            EXPECT_STREQ(e.location().file, "tests/libdataio/report_test.cpp");
            EXPECT_EQ(e.location().line, here.line);
        }
        EXPECT_EQ(log.records.size(), level >= 1 ? 1U : 0U) << level;
    }
}

} // namespace zd
