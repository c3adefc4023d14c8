#include <libdataio/imagewriter.h>
#include <libdataio/recordingremains.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QFile>

#include <sys/xattr.h>

namespace zd {

namespace {

using namespace test;
using HeaderSource = RecordingRemains::HeaderSource;

class Remains : public testing::Test {
protected:
    bool hasExtendedAttributes() const
    {
        const Descriptor probe(m_directory.path("probe"), O_RDWR | O_CREAT);
        return fsetxattr(probe.get(), "user.probe", "1", 1, 0) == 0;
    }
    RecordingRemains remains() const { return RecordingRemains::of(m_path); }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
    const QString m_log = m_path + QStringLiteral("-log");
    ImageWriter m_writer;
};

TEST_F(Remains, TheHeaderIsKeptWithTheMovie)
{
    if (!hasExtendedAttributes())
        GTEST_SKIP() << "this file system keeps no extended attributes";
    m_writer.create(m_path, false);
    m_writer.width(4);
    m_writer.setComment(QStringLiteral("c"));
    EXPECT_EQ(remains().headerSource, HeaderSource::None) << "before the first frame";
    m_writer.addFrame("x", 1, 0.5F);
    EXPECT_EQ(remains().headerSource, HeaderSource::ExtendedAttribute);
    EXPECT_EQ(remains().headerText, QStringLiteral("comment=c\nendian=2\nwidth=4\n"));
    m_writer.width(5);
    m_writer.attribute(QStringLiteral("data_type"), QStringLiteral("raw"));
    {
        Faults full({.at = 1, .error = ENOSPC, .among = call::setAttribute});
        m_writer.addFrame("y", 1, 0.5F);
        EXPECT_EQ(full.calls(call::setAttribute), 2);
    }
    EXPECT_EQ(remains().headerText, QStringLiteral("data_type=raw\nendian=2\nwidth=5\n"))
        << "without room for all, what the frames need";
    m_writer.close();
    EXPECT_FALSE(remains().hasExtendedAttribute);
}

TEST_F(Remains, ALogTellsTheRest)
{
    m_writer.create(m_path, false);
    m_writer.width(4);
    m_writer.height(5);
    m_writer.addFrame("a", 1, {1, 2}, 0.25F);
    EXPECT_FALSE(QFile::exists(m_log));
    EXPECT_FALSE(m_writer.recordingLog());
    m_writer.setRecordingLog(true);
    EXPECT_TRUE(m_writer.recordingLog());
    m_writer.addRasterFiberContinuousIndexes({1, 2, 3});
    m_writer.addFrame("b", 1, {3, 4}, 0.5F);
    m_writer.addFrame("c", 1, -1.0F);
    m_writer.addRasterFiberContinuousIndexes({4, 5});
    m_writer.width(6);
    m_writer.addFrame("d", 1, {-5, 6}, 2.0F);
    const RecordingRemains found = remains();
    EXPECT_TRUE(found.hasLog);
    EXPECT_EQ(found.headerSource, HeaderSource::RecordingLog);
    EXPECT_EQ(found.headerText, QStringLiteral("endian=2\nheight=5\nwidth=6\n"));
    EXPECT_EQ(found.fiberCenters, (std::vector<float>{4, 5}));
    ASSERT_EQ(found.frames.size(), 3U) << "those since it was asked for";
    const RecordingRemains::Frame& b = found.frames.at(33);
    EXPECT_TRUE(b.hasTime && b.time == (timeval{3, 4}) && b.laserPower == 0.5F);
    const RecordingRemains::Frame& c = found.frames.at(66);
    EXPECT_TRUE(!c.hasTime && c.laserPower == -1.0F);
    const RecordingRemains::Frame& d = found.frames.at(99);
    EXPECT_TRUE(d.hasTime && d.time == (timeval{-5, 6}) && d.laserPower == 2.0F);

    const std::string log = readFile(m_log);
    std::size_t frames = 0;
    for (std::size_t length = 0; length < log.size(); ++length) {
        writeFile(m_log, log.substr(0, length));
        const RecordingRemains part = remains();
        EXPECT_GE(part.frames.size(), frames) << "what is complete counts";
        EXPECT_LT(part.frames.size(), 3U);
        frames = part.frames.size();
        writeFile(m_log, withBytes(log, length, std::string(1, static_cast<char>(~log[length]))));
        EXPECT_LE(remains().frames.size(), 2U) << "a damaged record ends it";
    }
    EXPECT_EQ(frames, 2U);
    m_writer.close();
    EXPECT_FALSE(QFile::exists(m_log));
    walkMovie(readFile(m_path));

    for (const bool modify : {false, true}) {
        writeFile(m_log, log);
        m_writer.setRecordingLog(false);
        if (modify)
            m_writer.modify(m_path);
        else
            m_writer.create(m_path, false);
        EXPECT_FALSE(QFile::exists(m_log)) << "it says nothing of this recording";
        m_writer.close();
    }
}

TEST_F(Remains, ALogThatCannotBeWrittenStopsNothing)
{
    std::string whole;
    int brokenLogs = 0;
    bool struck = true;
    for (int n = 0; n < 2 || struck; ++n) {
        SCOPED_TRACE(n);
        ImageWriter writer;
        writer.setRecordingLog(true);
        writer.create(m_path, false);
        std::string code;
        {
            Faults faults({.at = n, .error = ENOSPC, .share = Share::Half, .among = call::writes});
            code = codeOf([&] {
                writer.addFrame("a", 1, {1, 2}, 0.25F);
                writer.addFrame("b", 1, {3, 4}, 0.25F);
            });
            struck = faults.struck();
        }
        brokenLogs += struck && code.empty() ? 1 : 0;
        writer.close();
        whole = n == 0 ? readFile(m_path) : whole;
        EXPECT_TRUE(!code.empty() || readFile(m_path) == whole);
    }
    EXPECT_EQ(brokenLogs, 5) << "mark, header, fibre centres and two frames";
}

} // namespace

} // namespace zd
