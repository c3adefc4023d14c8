#include <libdataio/frametimer.h>

#include <libdataio/chunkinfo.h>
#include <tests/support/moviebytes.h>
#include <tests/support/printed.h>

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace zd {

namespace {

using test::dumped;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();

ChunkInfo infoOf(const char* lines)
{
    ChunkInfo info;
    info.parse(QString::fromLatin1(lines));
    return info;
}

std::string timeEntry(std::int32_t seconds, std::int32_t microseconds)
{
    return test::word(static_cast<std::uint32_t>(seconds)) + test::word(static_cast<std::uint32_t>(microseconds));
}

/// Sets the process's time zone while it lives.
class TimeZone {
public:
    explicit TimeZone(const char* zone) : m_before(qgetenv("TZ")) { qputenv("TZ", zone); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone()
    {
        m_before.isNull() ? qunsetenv("TZ") : qputenv("TZ", m_before);
        ::tzset();
    }

private:
    QByteArray m_before;
};

} // namespace

TEST(FrameTimer, ReadsAndWritesRawBuffers)
{
    FrameTimer times{{7, 7}};
    EXPECT_FALSE(times.readFromRawBuffer("twelve bytes", 12));
    EXPECT_THAT(times, ElementsAre(timeval{7, 7}));

    const std::string stored =
        "?" + timeEntry(5, 999999) + timeEntry(-3, 2) + timeEntry(5, -1) + timeEntry(smallest, 0);
    EXPECT_TRUE(times.readFromRawBuffer(stored.data() + 1, 32));
    EXPECT_THAT(times, ElementsAre(timeval{5, 999999}, timeval{-3, 2}, timeval{5, -1}, timeval{smallest, 0}));

    std::string buffer(40, '.');
    for (const unsigned int refused : {31U, 33U, 24U, 0U})
        EXPECT_FALSE(times.dumpToRawBuffer(buffer.data(), refused));
    EXPECT_EQ(times.front(), (timeval{5, 999999})) << "a refused dump does not sort";
    EXPECT_EQ(buffer, std::string(40, '.'));
    EXPECT_TRUE(times.dumpToRawBuffer(buffer.data(), 40));
    EXPECT_EQ(buffer, timeEntry(smallest, 0) + timeEntry(-3, 2) + timeEntry(5, -1) + timeEntry(5, 999999) + "........");

    EXPECT_TRUE(times.readFromRawBuffer(nullptr, 0));
    EXPECT_THAT(times, IsEmpty());
    EXPECT_TRUE(times.dumpToRawBuffer(nullptr, 0));
}

TEST(FrameTimer, WritesTheAttributeForm)
{
    FrameTimer times{{9, 1}, {-4, 5}, {9, 0}};
    // The last one is on daylight saving time the whole year round.
    for (const auto& [zone, offset] : {std::pair("ZON-5:30", "19800"), std::pair("ZON+8", "-28800"),
                                       std::pair("UTC0", "0"), std::pair("ZON-1DST-2,0/0,J365/25", "7200")}) {
        const TimeZone restored(zone);
        ChunkInfo info = infoOf("frame_timer_n3_sec=1\nwidth=4");
        EXPECT_TRUE(times.dumpToChunkInfo(info));
        EXPECT_EQ(dumped(info), "frame_timer=1\nframe_timer_n0_sec=-4\nframe_timer_n0_usec=5\n"
                                "frame_timer_n1_sec=9\nframe_timer_n1_usec=0\nframe_timer_n2_sec=9\n"
                                "frame_timer_n2_usec=1\nframe_timer_n3_sec=1\nutc_offset_seconds=" +
                                    std::string(offset) + "\nwidth=4\n");
    }
    EXPECT_THAT(times, ElementsAre(timeval{-4, 5}, timeval{9, 0}, timeval{9, 1}));

    ChunkInfo other;
    EXPECT_TRUE(FrameTimer().dumpToChunkInfo(other));
    EXPECT_EQ(dumped(other), "frame_timer=0\n");
    EXPECT_TRUE(times.readFromChunkInfo(other));
    EXPECT_THAT(times, IsEmpty());
}

TEST(FrameTimer, ReadsConsecutiveTimesFromAttributes)
{
    FrameTimer times{{7, 7}};
    ChunkInfo info = infoOf("frame_timer_n0_sec=1\nframe_timer_n0_usec=2");
    EXPECT_FALSE(times.readFromChunkInfo(info));
    EXPECT_THAT(times, IsEmpty());
    info.set(QStringLiteral("frame_timer"), 1.0F);
    EXPECT_FALSE(times.readFromChunkInfo(info));

    const std::string twoTimes = "frame_timer=0\nframe_timer_n0_sec=1\nframe_timer_n0_usec=2\n"
                                 "frame_timer_n1_sec=2147483647\nframe_timer_n1_usec=-2147483648\n";
    for (const auto& [third, whole] : {std::pair("", true),
                                       {"frame_timer_n2_sec=5\nframe_timer_n3_sec=6\nframe_timer_n3_usec=6", false},
                                       {"frame_timer_n2_sec=5\nframe_timer_n2_usec=2147483648", false},
                                       {"frame_timer_n2_sec=soon\nframe_timer_n2_usec=5", true}}) {
        ChunkInfo lines = infoOf((twoTimes + third).c_str());
        const std::uint64_t revision = lines.revision();
        EXPECT_EQ(times.readFromChunkInfo(lines), whole) << third;
        EXPECT_EQ(lines.revision(), revision) << "reading changes nothing";
        EXPECT_THAT(times, ElementsAre(timeval{1, 2}, timeval{largest, smallest}));
    }

    info = infoOf(
        "frame_timer=1\nframe_timer_n00_sec=1\nframe_timer_n00_usec=1\nframe_timer_n_sec=1\n"
        "frame_timer_n+0_sec=1\nframe_timer_n1&_sec=1\nframe_timer_n0_Sec=1\nframe_timer_n0_sec_=1\nframe_timer_n0=1\n"
        "frame_timer_n18446744073709551616_sec=1\nframe_timer_n18446744073709551616_usec=1\n"
        "frame_timer_n4294967296_sec=1\nframe_timer_n2147483647_usec=1");
    EXPECT_TRUE(times.readFromChunkInfo(info));
    EXPECT_THAT(times, IsEmpty());
}

TEST(FrameTimer, ReadsAndRemovesManyTimes)
{
    FrameTimer times;
    for (int i = 0; i < 250; ++i)
        times.push_back({i * i, 1000 - i});
    ChunkInfo info;
    times.dumpToChunkInfo(info);
    FrameTimer read;
    EXPECT_TRUE(read.readFromChunkInfo(info));
    EXPECT_EQ(read, times);
    FrameTimer::removeFromAttChunk(info);
    EXPECT_EQ(info.attributes().size(), 1U) << "utc_offset_seconds stays";
}

TEST(FrameTimer, TakesTheSystemsTimes)
{
    const ::timeval system{5, 7};
    const auto taken = [](timeval time) { return time; };
    EXPECT_EQ(taken(system), taken({5, 7}));
    EXPECT_TRUE(timeval(6, 0) > system);
    EXPECT_EQ(taken(::timeval{largest, -1}), timeval(largest, -1)) << "as they are";
    EXPECT_THROW(taken(::timeval{1LL + largest, 0}), std::out_of_range);
    EXPECT_THROW(taken(::timeval{0, 1LL << 32}), std::out_of_range);
    FrameTimer times{{1, 2}};
    times.push_back(system);
    EXPECT_THAT(times, ElementsAre(timeval{1, 2}, timeval{5, 7}));
}

TEST(FrameTimer, ConvertsOnlyTimesThatFit)
{
    using std::chrono::system_clock;
    using namespace std::chrono_literals;
    timeval time{7, 7};
    EXPECT_FALSE(toTimeval(system_clock::time_point(std::chrono::seconds(largest) + 1s), time));
    EXPECT_FALSE(toTimeval(system_clock::time_point(std::chrono::seconds(smallest) - 1us), time));
    EXPECT_FALSE(toTimeval(::timeval{1LL + largest, 0}, time));
    EXPECT_FALSE(toTimeval(::timeval{0, 1000000}, time));
    EXPECT_FALSE(toTimeval(::timeval{0, -1}, time));
    EXPECT_EQ(time, (timeval{7, 7}));

    for (const timeval& expected : {timeval{largest, 999999}, timeval{smallest, 0}, timeval{-1, 999999}, timeval{}}) {
        EXPECT_TRUE(toTimeval(toTimePoint(expected) + 999ns, time));
        EXPECT_EQ(time, expected);
        time = {7, 7};
        EXPECT_TRUE(toTimeval(toSystemTimeval(expected), time));
        EXPECT_EQ(time, expected);
    }
    EXPECT_EQ(toTimePoint({-1, 999999}), system_clock::time_point(-1us));
    EXPECT_EQ(toTimePoint({largest, largest}) - toTimePoint({largest, 0}), 2147483647us);
}

} // namespace zd
