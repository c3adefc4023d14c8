#include <tests/docs/guide_snippets.h>

#include <libdataio/imagereader.h>
#include <log/logger.h>
#include <tests/support/moviebytes.h>

#include <gmock/gmock.h>

namespace zd {
namespace {

using namespace test;

/// What the guide shows does what the guide says.
class Guide : public testing::Test {
protected:
    std::string words16(std::initializer_list<std::uint16_t> values)
    {
        std::string bytes;
        for (const std::uint16_t value : values)
            bytes += {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8U)};
        return bytes;
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
};

TEST_F(Guide, RecordsAndReviews)
{
    snippets::record(m_path);
    ImageReader movie(m_path);
    EXPECT_EQ(movie.nbFrames(), 20);
    EXPECT_EQ(movie.getFrameTimer().size(), 20U);
    EXPECT_EQ(movie.getComment(), QStringLiteral("Noise,\nin two lines"));
    float power = 0;
    EXPECT_TRUE(movie.getLaserPower(19, power));
    EXPECT_FLOAT_EQ(power, 0.5F);
    EXPECT_GT(snippets::brightest(movie, 0), 65000);
    EXPECT_EQ(snippets::brightest(movie, 20), -1);
}

TEST_F(Guide, RecordsAtAnInstrumentsSpeed)
{
    std::vector<std::vector<std::uint16_t>> frames;
    for (std::uint16_t frame = 0; frame < 25; ++frame)
        frames.emplace_back(64 * 48, frame);
    EXPECT_EQ(snippets::recordThroughQueue(m_path, frames), 0);
    EXPECT_EQ(ImageReader(m_path).nbFrames(), 25);
    EXPECT_EQ(snippets::recordSeries(m_directory.path("night.vqf"), frames), 25);
    EXPECT_EQ(ImageReader(m_directory.path("night-0003.vqf")).nbFrames(), 5);

    ImageWriter events;
    events.create(m_path, false);
    RecordingQueue queue(events, {.frameBytes = 4, .capacityFrames = 100});
    queue.arm(std::chrono::seconds{2});
    for (int frame = 0; frame < 20; ++frame)
        snippets::onFrame(queue, "abcd", 4, frame == 10);
    snippets::closeOrSave(queue, stderr);
    events.close();
    EXPECT_EQ(ImageReader(m_path).nbFrames(), 20) << "all within the seconds";
}

TEST_F(Guide, RecordsTimesAndFinishesInTime)
{
    const std::string frame = words16({1, 2, 3, 4});
    ImageWriter writer;
    writer.create(m_path, false);
    writer.width(2);
    writer.height(2);
    writer.pixType(ZD_USHORT);
    using namespace std::chrono;
    snippets::addTimedFrame(writer, frame.data(), system_clock::time_point(1'700'000'000s + 250ms));
    snippets::addTimedFrame(writer, frame.data(), system_clock::time_point(5'000'000'000s)); // beyond 2038
    EXPECT_TRUE(snippets::addOrFinish(writer, frame.data()));
    writer.setSizeLimit(300);
    EXPECT_FALSE(snippets::addOrFinish(writer, frame.data()));
    EXPECT_FALSE(writer.isOpen());

    ImageReader movie(m_path);
    EXPECT_EQ(movie.nbFrames(), 2);
    timeval time;
    EXPECT_TRUE(movie.getFrameTiming(0, time));
    EXPECT_EQ(time, (timeval{1'700'000'000, 250'000}));
}

TEST_F(Guide, EditsAndAnalyses)
{
    MovieBuilder built;
    built.frameFormat(2, 2, ZD_USHORT, 16).attribute("comment", "before");
    built.frame(words16({10, 20, 30, 40})).frame(words16({100, 200, 300, 400}));
    built.chunk(6, words({0, 0, 1U << 31, 1U << 31})).chunk(7, timeBytes(8, 900'000) + timeBytes(10, 400'000));
    writeFile(m_path, built.movie());
    using Means = std::vector<std::pair<double, double>>;
    EXPECT_EQ(snippets::meansOverTime(m_path), (Means{{0, 25}, {1.5, 250}}));

    const std::string frame = words16({1, 2, 3, 6});
    snippets::replaceFirst(m_path, frame.data());
    EXPECT_EQ(snippets::meansOverTime(m_path), (Means{{0, 3}, {1.5, 250}}));
    {
        const std::optional<MovieLock> other = MovieLock::tryLock(m_path);
        EXPECT_FALSE(snippets::replaceLast(m_path, frame.data()));
    }
    EXPECT_TRUE(snippets::replaceLast(m_path, words16({250, 250, 250, 250}).data()));
    EXPECT_EQ(snippets::meansOverTime(m_path), (Means{{0, 3}, {1.5, 250}}));
    ImageReader movie(m_path);
    EXPECT_EQ(movie.getComment(), QStringLiteral("before\nframe 0 replaced"));
    EXPECT_EQ(snippets::brightest(movie, 0), 6);
    EXPECT_EQ(snippets::meanAtFibers(movie, 0), 3.5); // the first pixel and the last one
    EXPECT_EQ(snippets::meanAtFibers(movie, 2), 0);
}

} // namespace
} // namespace zd
