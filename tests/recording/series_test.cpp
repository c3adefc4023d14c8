#include <recording/recordingattributes.h>
#include <recording/recordingqueue.h>
#include <recording/seriesreader.h>
#include <recording/serieswriter.h>
#include <tests/recording/framepictures.h>
#include <tests/recording/slowdisk.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QImage>

namespace zd {

namespace {

using namespace test;
using namespace std::chrono_literals;

class Series : public testing::Test {
protected:
    void start(SeriesWriter& series, const SeriesLimits& limits)
    {
        giveHeader(series.header());
        series.header().setComment(QStringLiteral("a\nb"));
        series.header().addRasterFiberContinuousIndexes({1, 1, 2.5F, 3});
        series.create(m_path, limits);
    }
    static void add(SeriesWriter& series, int first, int end)
    {
        for (int number = first; number < end; ++number)
            series.addFrame(picture(number).data(), pictureBytes, timeval{number, 5}, 0.5F);
    }
    QString part(int number) const { return m_directory.path(qPrintable(QString::asprintf("live-%04d.vqf", number))); }
    QStringList files() const { return QDir(m_directory.path("")).entryList(QDir::Files); }
    /// A series of as many parts, each of four frames.
    void record(int parts)
    {
        SeriesWriter series;
        start(series, {.partFrames = 4});
        add(series, 0, 4 * parts);
        series.close();
    }
    static void expectFrames(SeriesReader& reader, const std::vector<std::string>& frames)
    {
        ASSERT_EQ(reader.nbFrames(), static_cast<std::int64_t>(frames.size()));
        const void* data = nullptr;
        std::string copy(pictureBytes + 2, 'x');
        for (std::int64_t index = 0; index < reader.nbFrames(); ++index) {
            const std::string& expected = frames[static_cast<std::size_t>(index)];
            ASSERT_TRUE(reader.getFrame(data, index));
            ASSERT_EQ(reader.frameSize(), static_cast<std::int64_t>(pictureBytes));
            EXPECT_EQ(std::string(static_cast<const char*>(data), pictureBytes), expected) << index;
            ASSERT_TRUE(reader.readFrame(index, copy.data(), static_cast<std::int64_t>(copy.size())));
            EXPECT_EQ(copy, expected + std::string(2, '\0'));
        }
        EXPECT_FALSE(reader.getFrame(data, reader.nbFrames()));
        EXPECT_FALSE(reader.getFrame(data, -1));
    }
    static std::string problemsOf(const QString& name)
    {
        try {
            SeriesReader reader;
            reader.open(name);
        } catch (const IOFileException& failure) {
            return (failure.code() + QStringLiteral(": ") + failure.message()).toStdString();
        }
        return {};
    }

    const TemporaryDirectory m_directory{};
    const QString m_path = m_directory.path("live.vqf");
};

TEST_F(Series, IsOneMovieOfManyFiles)
{
    SeriesWriter series;
    start(series, {.partFrames = 5});
    add(series, 0, 7);
    series.rollOver();
    add(series, 7, 8);
    series.header().attribute(QStringLiteral("late"), 1);
    add(series, 8, 14);
    EXPECT_EQ(series.part(), 4);
    EXPECT_TRUE(series.sync());
    const QString id = series.seriesId();
    series.close();

    EXPECT_EQ(files(), SeriesWriter::existingParts(m_path).replaceInStrings(m_directory.path("") + u'/', QString()));
    const int first[] = {0, 5, 7, 12, 14};
    for (int number = 1; number <= 4; ++number) {
        const std::string bytes = readFile(part(number));
        walkMovie(bytes);
        EXPECT_EQ(framesOf(bytes), pictures(first[number - 1], first[number]));
        ImageReader movie(part(number));
        EXPECT_EQ(movie.getComment(), QStringLiteral("a\nb"));
        EXPECT_EQ(movie.nbFibers(ImageReader::NoFiberFiltering), 2);
        const std::string text = headerText(bytes);
        const auto has = [&](const std::string& line) { return text.find(line + "\n") != std::string::npos; };
        EXPECT_TRUE(has("series_id=" + id.toStdString()) && has("series_part=" + std::to_string(number)) &&
                    has("series_first_frame=" + std::to_string(first[number - 1])))
            << text;
        EXPECT_EQ(has("series_last=1"), number == 4);
        EXPECT_EQ(has("late=1"), number >= 3);
    }

    SeriesReader reader;
    for (const QString& name : {m_path, part(3), m_directory.path(""), m_directory.path("live-*.vqf")}) {
        reader.open(name);
        EXPECT_EQ(reader.seriesId(), id);
        EXPECT_TRUE(reader.isComplete());
        expectFrames(reader, pictures(0, 14));
    }
    timeval time;
    float power = 0;
    QImage image;
    EXPECT_TRUE(reader.getFrameTiming(7, time) && time == (timeval{7, 5}));
    EXPECT_TRUE(reader.getLaserPower(13, power) && std::abs(power - 0.5F) < 0.01F);
    EXPECT_TRUE(reader.thumbnail(image, 20, 20, 12));
    EXPECT_EQ(reader.movie(2)->nbFibers(ImageReader::NoFiberFiltering), 2);
    int width = 0;
    EXPECT_TRUE(reader.header().get(QStringLiteral("width"), width) && width == pictureWidth);
}

TEST_F(Series, GoesOnBeforeALimitOfBytesOrTime)
{
    const SeriesLimits bytes{.partBytes = 20'000};
    const SeriesLimits time{.partDuration = 3s};
    for (const SeriesLimits& limits : {bytes, time}) {
        SeriesWriter series;
        start(series, limits);
        add(series, 0, 100);
        series.close();
        const QStringList parts = SeriesWriter::existingParts(m_path);
        EXPECT_EQ(parts.size(), limits.partBytes != 0 ? 12 : 34) << "of 9 or 3 frames";
        SeriesReader reader;
        reader.open(m_path);
        expectFrames(reader, pictures(0, 100));
        for (const QString& path : parts) {
            EXPECT_LT(readFile(path).size(), 20'000U);
            QFile::remove(path);
        }
    }
    SeriesWriter series;
    start(series, {.partBytes = 1000});
    EXPECT_EQ(reportedBy([&] { add(series, 0, 1); }), "FDCW_AC_WRITE") << "no part holds such a frame";
}

TEST_F(Series, NeverMixesWithAnother)
{
    record(2);
    const std::string before = readFile(part(2));
    SeriesWriter series;
    EXPECT_EQ(reportedBy([&] { start(series, {}); }), "SW_PARTS");
    EXPECT_FALSE(series.isOpen());
    EXPECT_EQ(reportedBy([&] { add(series, 0, 1); }), "SW_CLOSED");
    EXPECT_EQ(reportedBy([&] { series.create(m_directory.path("nowhere/live.vqf")); }), "SW_PART");

    // A file that comes while a series is recorded is left alone.
    series.create(m_directory.path("other.vqf"), {.partFrames = 2});
    writeFile(m_directory.path("other-0002.vqf"), "mine");
    add(series, 0, 2);
    EXPECT_EQ(reportedBy([&] { add(series, 2, 3); }), "SW_PART");
    QFile::remove(m_directory.path("other-0002.vqf"));
    add(series, 2, 3);
    series.close();
    EXPECT_EQ(readFile(part(2)), before);
    SeriesReader reader;
    reader.open(m_directory.path("other.vqf"));
    expectFrames(reader, pictures(0, 3));
}

TEST_F(Series, SurvivesAFullDiskAndAFolderThatDisappears)
{
    SlowDisk disk;
    SeriesWriter series;
    start(series, {.partFrames = 3});
    {
        RecordingQueue queue(series, {.capacityFrames = 8});
        for (int number = 0; number < 3; ++number)
            queue.push(picture(number).data(), pictureBytes, timeval{number, 5}, 0.5F);
        queue.flush();
        disk.fail(ENOSPC); // the header of the first part, then the first frame of the second
        queue.push(picture(3).data(), pictureBytes, timeval{3, 5}, 0.5F);
        EXPECT_NE(reportedBy([&] { queue.flush(); }), "");
        EXPECT_EQ(queue.waiting().size(), 1U);
        disk.fail(0);
        queue.retry();
        queue.close();
    }
    QDir folder(m_directory.path(""));
    ASSERT_TRUE(folder.rename(m_directory.path(""), m_directory.path("") + QStringLiteral("-gone")));
    add(series, 4, 6); // into the open file
    EXPECT_EQ(reportedBy([&] { add(series, 6, 7); }), "SW_PART");
    ASSERT_TRUE(folder.rename(m_directory.path("") + QStringLiteral("-gone"), m_directory.path("")));
    series.close();
    SeriesReader reader;
    reader.open(m_path);
    EXPECT_TRUE(reader.isComplete());
    expectFrames(reader, pictures(0, 6));
}

TEST_F(Series, NamesWhatIsMissingForeignOrDoubled)
{
    record(4);
    QFile::copy(part(4), m_directory.path("live-0004-copy.vqf"));
    QFile::remove(part(2));
    ImageWriter stranger;
    stranger.create(m_directory.path("stranger.vqf"), true);
    stranger.close();
    writeFile(m_directory.path("noise.vqf"), "noise, and not a movie at all, of some length");

    EXPECT_EQ(problemsOf(m_path).substr(0, 28), "SR_PARTS: missing: part 2");
    const QString all = m_directory.path("");
    const std::string problems = problemsOf(all);
    for (const char* problem : {"missing: part 2", "another series: ", "stranger.vqf", "twice: part 4", "unreadable: "})
        EXPECT_NE(problems.find(problem), std::string::npos) << problems;
    EXPECT_EQ(problemsOf(m_directory.path("nothing.vqf")).substr(0, 8), "SR_NONE:");

    SeriesReader reader;
    reader.open(all, SeriesGaps::Accept);
    EXPECT_EQ(reader.problems().size(), 4);
    ASSERT_EQ(reader.gaps().size(), 1U);
    EXPECT_EQ(reader.gaps()[0].before, 4);
    EXPECT_EQ(reader.gaps()[0].frames, 4);
    std::vector<std::string> frames = pictures(0, 4);
    for (const std::string& frame : pictures(8, 16))
        frames.push_back(frame);
    expectFrames(reader, frames);
}

TEST_F(Series, IsReadWhileItIsRecorded)
{
    SeriesWriter series;
    start(series, {.partFrames = 4});
    SeriesReader reader;
    timeval time;
    for (int number = 0; number < 14; ++number) {
        add(series, number, number + 1);
        if (number == 0)
            reader.open(part(1));
        else
            EXPECT_TRUE(reader.refresh());
        EXPECT_FALSE(reader.isComplete());
        expectFrames(reader, pictures(0, number + 1));
        EXPECT_EQ(reader.getFrameTiming(number, time), false) << "is known when the part is closed";
    }
    EXPECT_FALSE(reader.refresh());
    EXPECT_TRUE(reader.getFrameTiming(11, time) && time == (timeval{11, 5}));
    series.close();
    reader.refresh();
    EXPECT_TRUE(reader.isComplete());
    EXPECT_TRUE(reader.getFrameTiming(13, time) && time == (timeval{13, 5}));
}

TEST_F(Series, OfHundredPartsOpensFewFiles)
{
    record(100);
    SeriesReader reader;
    reader.open(m_path);
    EXPECT_LT(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::System | QDir::Files | QDir::NoDotAndDotDot).size(),
              60);
    expectFrames(reader, pictures(0, 400));
}

} // namespace

} // namespace zd
