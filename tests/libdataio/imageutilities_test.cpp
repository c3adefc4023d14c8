#include <libdataio/imageutilities.h>

#include <libdataio/imagewriter.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

namespace zd {

namespace {

using namespace test;

class CopyingHeaders : public testing::Test {
protected:
    std::string textAfterCopying(const QString& source)
    {
        ImageWriter writer;
        writer.create(m_copy, false);
        writer.width(4);
        writer.frameDelay(100);
        m_code = codeOf([&] { ImageUtilities::copyVqfFileAttributes(writer, source); });
        writer.close();
        EXPECT_EQ(walkMovie(readFile(m_copy)).size(), 1U) << "only attributes are copied";
        return headerText(readFile(m_copy));
    }

    TemporaryDirectory m_directory;
    const QString m_source = m_directory.path("source.vqf");
    const QString m_copy = m_directory.path("copy.vqf");
    std::string m_code;
};

TEST_F(CopyingHeaders, TakesAllButTheTimes)
{
    MovieBuilder source;
    source.frame("pixels").chunk(8, "\x05").frameFormat(896, 640, 5, 16).attribute("endian", "1");
    source.attribute("comment", "a\ab").attribute("plug_gain", "3").attribute("frame_timer", "1");
    source.attribute("utc_offset_seconds", "3600");
    for (const char* key : {"n0_sec", "n0_usec", "n1_sec", "n1_usec", "n3_sec", "n3_usec"})
        source.attribute(std::string("frame_timer_") + key, "7");
    const std::string bytes = source.movie();
    writeFile(m_source, bytes);
    EXPECT_EQ(textAfterCopying(m_source),
              "comment=a\ab\nendian=1\nframe_timer_n3_sec=7\nframe_timer_n3_usec=7\nframedelay=100\nheight=640\n"
              "pixbits=16\npixtype=5\nplug_gain=3\nutc_offset_seconds=3600\nwidth=896\n")
        << "times are left out up to the gap";
    EXPECT_EQ(m_code, "");
    EXPECT_EQ(readFile(m_source), bytes);

    MovieBuilder noTimer;
    writeFile(m_source, noTimer.attribute("frame_timer_n0_sec", "7").movie());
    EXPECT_EQ(textAfterCopying(m_source), "endian=2\nframe_timer_n0_sec=7\nframedelay=100\nwidth=4\n")
        << "without \"frame_timer\" there are no times";
}

TEST_F(CopyingHeaders, FailuresChangeNothing)
{
    const std::string unchanged = "endian=2\nframedelay=100\nwidth=4\n";
    EXPECT_EQ(textAfterCopying(m_source), unchanged);
    EXPECT_EQ(m_code, "FR_OF_STAT");
    writeFile(m_source, chunk(2, "pixels"));
    EXPECT_EQ(textAfterCopying(m_source), unchanged);
    EXPECT_EQ(m_code, "IR_MISSINFO");
    EXPECT_EQ(textAfterCopying(m_copy), unchanged) << "the movie that is just being made";
    EXPECT_EQ(m_code, "IR_MISSINFO");
}

} // namespace

} // namespace zd
