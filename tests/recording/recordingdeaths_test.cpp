#include <recording/recordingqueue.h>
#include <recording/seriesreader.h>
#include <recording/serieswriter.h>
#include <tests/recording/framepictures.h>
#include <tests/support/childprocess.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>

#include <gtest/gtest.h>

#include <QFile>

#include <csignal>

namespace zd {

namespace {

using namespace test;

constexpr int capacity = 16;

/// What a process that is about to die says of itself.
struct Account {
    std::atomic<std::int64_t> offered = 0; ///< frames whose push has returned
    std::atomic<std::int64_t> stored = 0;  ///< of those, known to be in the file
};

template <typename Recording>
void recordForEver(Recording& recording, Account& account)
{
    RecordingQueue queue(recording, {.capacityFrames = capacity});
    for (int number = 0;; ++number) {
        queue.push(picture(number).data(), pictureBytes, timeval{number, 0}, 0.5F);
        ++account.offered;
        account.stored = queue.statistics().stored;
    }
}

/// Runs `operation` in a process that is killed a while after its first frame was stored.
template <typename Operation>
void killed(Account& account, int microseconds, Operation operation)
{
    account.offered = account.stored = 0;
    const pid_t child = fork();
    if (child == 0) {
        operation();
        _exit(1);
    }
    while (account.stored == 0 && waitpid(child, nullptr, WNOHANG) == 0)
        usleep(50);
    usleep(static_cast<useconds_t>(microseconds));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

/// Exactly the first of the offered frames, and all of them but for the pool's.
void expectPrefix(const std::vector<std::string>& frames, const Account& account)
{
    const auto found = static_cast<std::int64_t>(frames.size());
    EXPECT_EQ(frames, pictures(0, found));
    EXPECT_GE(found, account.stored);
    EXPECT_LE(found, account.offered + 1);
    EXPECT_GE(found, account.offered - capacity);
}

std::vector<std::string> completeFrames(const QString& path)
{
    std::vector<std::string> frames;
    for (const WalkedChunk& chunk : completeChunks(readFile(path)))
        if (chunk.type == 2)
            frames.push_back(chunk.payload);
    return frames;
}

int deaths()
{
    return isLongRun() ? 300 : 40;
}

TEST(RecordingDeaths, CostAMovieThePoolAndNothingMore)
{
    const TemporaryDirectory directory;
    const QString path = directory.path("movie.vqf");
    Account& account = sharedValue<Account>();
    std::int64_t frames = 0;
    for (int death = 0; death < deaths() && !testing::Test::HasFailure(); ++death) {
        killed(account, death * 997 % 10'000, [&] {
            ImageWriter movie;
            movie.create(path, false);
            giveHeader(movie);
            recordForEver(movie, account);
        });
        expectPrefix(completeFrames(path), account);
        frames += account.offered;
    }
    figure("deaths", deaths());
    figure("frames offered", frames);
}

TEST(RecordingDeaths, LeaveEveryPartButTheOpenOneWhole)
{
    Account& account = sharedValue<Account>();
    std::size_t parts = 0;
    for (int death = 0; death < deaths() && !testing::Test::HasFailure(); ++death) {
        const TemporaryDirectory directory;
        const QString path = directory.path("live.vqf");
        killed(account, death * 997 % 20'000, [&] {
            SeriesWriter series;
            giveHeader(series.header());
            series.create(path, {.partFrames = 7});
            recordForEver(series, account);
        });
        std::vector<std::string> frames;
        const QStringList files = SeriesWriter::existingParts(path);
        bool isOpen = false;
        for (const QString& file : files) {
            const std::string bytes = readFile(file);
            EXPECT_TRUE(!isOpen || bytes.empty()) << "behind the open part at most an empty one";
            const std::vector<WalkedChunk> chunks = completeChunks(bytes);
            if (!chunks.empty() && chunks.back().type == 5)
                walkMovie(bytes);
            else
                isOpen = true;
            for (const std::string& frame : completeFrames(file))
                frames.push_back(frame);
        }
        expectPrefix(frames, account);

        SeriesReader reader;
        reader.open(path);
        ASSERT_EQ(reader.nbFrames(), static_cast<std::int64_t>(frames.size()));
        const void* data = nullptr;
        ASSERT_TRUE(reader.getFrame(data, reader.nbFrames() - 1));
        EXPECT_EQ(std::string(static_cast<const char*>(data), pictureBytes), frames.back());
        parts += static_cast<std::size_t>(files.size());
    }
    figure("deaths", deaths());
    figure("parts", parts);
}

} // namespace

} // namespace zd
