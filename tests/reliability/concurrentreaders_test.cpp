#include <tests/reliability/sharedvalue.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <tests/support/figure.h>
#include <tests/support/longrun.h>
#include <tests/support/moviebytes.h>
#include <tests/support/nosynchronisation.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <vector>

#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace zd {

namespace {

using namespace test;
using Clock = std::chrono::steady_clock;

constexpr int readers = 8;
const std::vector<float> fibers{1, 2, 3, 4};
constexpr int frameBytes = 64 * 48 * 2;

/// What the processes tell each other.
struct Board {
    std::atomic<bool> stop = false;
    std::atomic<int> edits = 0;
    std::atomic<int> opened = 0;
    std::atomic<int> refused = 0;
    std::atomic<std::int64_t> frames = 0;
    std::atomic<std::int64_t> longestCall = 0;      // microseconds
    std::atomic<std::int64_t> longestProcessor = 0; // the same of the processor's time
};

std::int64_t microseconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * std::int64_t{1'000'000} + now.tv_nsec / 1000;
}

void raiseTo(std::atomic<std::int64_t>& most, std::int64_t value)
{
    std::int64_t before = most;
    while (value > before && !most.compare_exchange_weak(before, value)) {
    }
}

/// Notes how long a call takes, however it ends.
class Stopwatch {
public:
    explicit Stopwatch(Board& board) : m_board(board) {}
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;
    ~Stopwatch()
    {
        raiseTo(m_board.longestCall, microseconds(CLOCK_MONOTONIC) - m_start);
        raiseTo(m_board.longestProcessor, microseconds(CLOCK_PROCESS_CPUTIME_ID) - m_startProcessor);
    }

private:
    Board& m_board;
    const std::int64_t m_start = microseconds(CLOCK_MONOTONIC);
    const std::int64_t m_startProcessor = microseconds(CLOCK_PROCESS_CPUTIME_ID);
};

template <typename Call>
auto timed(Board& board, Call call)
{
    const Stopwatch watch(board);
    return call();
}

std::string pixelsOf(unsigned int frame)
{
    return std::string(frameBytes, static_cast<char>(1 + frame % 100));
}

void setFormat(ImageWriter& writer)
{
    writer.width(64);
    writer.height(48);
    writer.pixType(ZD_USHORT);
    writer.addRasterFiberContinuousIndexes(fibers);
}

/// Frame 0 is replaced in every edit; all others keep what was recorded.
void editOnce(const QString& movie, int edit)
{
    ImageWriter writer;
    writer.modify(movie);
    const std::string other(frameBytes, static_cast<char>(edit));
    writer.replaceFrame(other.data(), 0, 0.5F);
    const std::string pixels = pixelsOf(static_cast<unsigned int>(2 + edit));
    writer.addFrame(pixels.data(), 0.5F);
    writer.close();
}

/// What an observer may be told while the movie changes. It tries again.
bool mayBeReported(const std::string& code)
{
    return code == "IR_MISSINFO" || code == "CHB_LFD_PARSE";
}

/// The promise that a reader's answers break; empty when all is well. Frame 0 may be half replaced, side data may
/// have been overwritten since the reader opened the movie: it is the right one or none.
std::string brokenPromise(ImageReader& reader, Board& board)
{
    for (unsigned int i = 0; i < static_cast<unsigned int>(reader.nbFrames()); ++i) {
        const void* data = nullptr;
        if (!timed(board, [&] { return reader.getFrame(data, i); }) || reader.frameSize() != frameBytes)
            return "a frame is missing";
        if (i != 0 && pixelsOf(i) != std::string_view(static_cast<const char*>(data), frameBytes))
            return "a frame holds other pixels";
        float power = 0.5F;
        reader.getLaserPower(i, power);
        if (std::abs(power - 0.5F) > 0.01F)
            return "a laser power of " + std::to_string(power);
        ++board.frames;
    }
    std::vector<float> found;
    timed(board, [&] { reader.getRasterFiberContinuousIndexes(found, ImageReader::NoFiberFiltering); });
    const auto isClose = [](float a, float b) { return std::abs(a - b) < 0.01F; };
    if (!found.empty() && !std::equal(found.begin(), found.end(), fibers.begin(), fibers.end(), isClose))
        return "other fibres";
    return {};
}

std::string watchOnce(const QString& movie, Board& board)
{
    ImageReader reader;
    try {
        timed(board, [&] { reader.open(movie); });
        const std::string broken = brokenPromise(reader, board);
        ++board.opened;
        return broken;
    } catch (const IOFileException& e) {
        ++board.refused;
        const std::string code = e.code().toStdString();
        return mayBeReported(code) ? std::string() : code;
    }
}

[[noreturn]] void watch(const QString& movie, Board& board)
{
    std::string broken;
    while (!board.stop && broken.empty()) {
        alarm(30); // ends a process that hangs
        broken = watchOnce(movie, board);
    }
    if (!broken.empty())
        std::fprintf(stderr, "%s\n", broken.c_str());
    _exit(broken.empty() ? 0 : 1);
}

/// One program edits a movie again and again while others read it. The long form takes a minute.
TEST(ConcurrentReaders, SeeWholeFramesOrAreToldToTryAgain)
{
    const NoSynchronisation noSynchronisation;
    const TemporaryDirectory directory;
    const QString movie = directory.path("movie.vqf");
    {
        ImageWriter writer;
        writer.create(movie, false);
        setFormat(writer);
        for (unsigned int i = 0; i < 2; ++i)
            writer.addFrame(pixelsOf(i).data(), 0.5F);
        writer.close();
    }
    Board& board = sharedValue<Board>();
    std::vector<pid_t> children;
    for (int i = 0; i < readers; ++i) {
        children.push_back(fork());
        if (children.back() == 0)
            watch(movie, board);
    }
    const auto end = Clock::now() + std::chrono::seconds(isLongRun() ? 60 : 2);
    while (Clock::now() < end || board.opened < readers)
        editOnce(movie, board.edits++);
    board.stop = true;
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    figure("edits", board.edits);
    figure("movies opened and read through", board.opened);
    figure("readers told to try again", board.refused);
    figure("frames delivered", board.frames);
    figure("longest call, microseconds", board.longestCall);
    figure("longest call, microseconds of the processor", board.longestProcessor);
    EXPECT_LT(board.longestProcessor, 1'000'000);
    EXPECT_EQ(ImageReader(movie).nbFrames(), 2 + board.edits);
}

} // namespace

} // namespace zd
