#include <tests/support/childprocess.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <libdataio/systemcalls_p.h>
#include <tests/support/faults.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string_view>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace zd {

namespace {

using namespace test;
using Clock = std::chrono::steady_clock;

constexpr int readers = 8;
constexpr unsigned int recordedFrames = 2;
const std::vector<float> fibers{1, 2, 3, 4};
constexpr int frameBytes = 64 * 48 * 2;

/// What the processes tell each other.
struct Board {
    std::atomic<bool> stop = false;
    std::atomic<int> edits = 0;
    std::atomic<int> opened = 0;
    std::atomic<int> refused = 0;
    std::atomic<std::int64_t> frames = 0;
    LongestCall longest;
};

/// Every other frame is black: its bytes make an empty index.
std::string pixelsOf(unsigned int frame)
{
    return std::string(frameBytes, static_cast<char>(frame % 2 == 0 ? 0 : 1 + frame % 100));
}

void setFormat(ImageWriter& writer)
{
    writer.width(64);
    writer.height(48);
    writer.pixType(ZD_USHORT);
    writer.addRasterFiberContinuousIndexes(fibers);
}

void record(const QString& movie, unsigned int frames)
{
    ImageWriter writer;
    writer.create(movie, false);
    setFormat(writer);
    for (unsigned int i = 0; i < frames; ++i)
        writer.addFrame(pixelsOf(i).data(), 0.5F);
    writer.close();
}

void append(ImageWriter& writer, unsigned int frame)
{
    const std::string pixels = pixelsOf(frame);
    writer.addFrame(pixels.data(), 0.5F);
}

/// Frame 0 is replaced in every edit; all others keep what was recorded.
void editOnce(const QString& movie, int edit)
{
    ImageWriter writer;
    writer.modify(movie);
    const std::string other(frameBytes, static_cast<char>(edit));
    writer.replaceFrame(other.data(), 0, 0.5F);
    append(writer, recordedFrames + static_cast<unsigned int>(edit));
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
    const auto frames = static_cast<unsigned int>(reader.nbFrames());
    if (frames < recordedFrames)
        return "frames are missing";
    for (unsigned int i = 0; i < frames; ++i) {
        const void* data = nullptr;
        if (!board.longest.timed([&] { return reader.getFrame(data, i); }) || reader.frameSize() != frameBytes)
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
    board.longest.timed([&] { reader.getRasterFiberContinuousIndexes(found, ImageReader::NoFiberFiltering); });
    const auto isClose = [](float a, float b) { return std::abs(a - b) < 0.01F; };
    if (!found.empty() && !std::equal(found.begin(), found.end(), fibers.begin(), fibers.end(), isClose))
        return "other fibres";
    return {};
}

std::string watchOnce(const QString& movie, Board& board)
{
    ImageReader reader;
    try {
        board.longest.timed([&] { reader.open(movie); });
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
    record(movie, recordedFrames);
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
    figure("longest call, microseconds", board.longest.elapsed());
    figure("longest call, microseconds of the processor", board.longest.processor());
    EXPECT_LT(board.longest.processor(), 1'000'000);
    EXPECT_EQ(ImageReader(movie).nbFrames(), static_cast<int>(recordedFrames) + board.edits);
}

/// Lets another program's edit come in before the n-th call of a reader to the system, while it lives.
class Interruption {
public:
    Interruption(int at, std::function<void()> edit) : m_system(systemCalls)
    {
        callsLeft = at;
        pending = std::move(edit);
        real = m_system;
        systemCalls.lseek = [](int fd, off_t offset, int whence) { return countedCall().lseek(fd, offset, whence); };
        systemCalls.fstat = [](int fd, struct stat* out) { return countedCall().fstat(fd, out); };
        systemCalls.preadv = [](int fd, const iovec* pieces, int count, off_t offset) {
            return countedCall().preadv(fd, pieces, count, offset);
        };
    }
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption() { systemCalls = m_system; }

    static bool happened() { return callsLeft <= 0; }

private:
    static const SystemCalls& countedCall()
    {
        if (--callsLeft == 0) {
            const SystemCalls counting = systemCalls;
            systemCalls = real;
            pending();
            systemCalls = counting;
        }
        return real;
    }

    static inline int callsLeft = 0;
    static inline std::function<void()> pending;
    static inline SystemCalls real;
    const SystemCalls m_system;
};

/// The same without chance: each edit comes in whole, or as far as to a cut or a covered tail, between any two calls.
TEST(ConcurrentReaders, NoticeAnEditBetweenAnyTwoCalls)
{
    const NoSynchronisation noSynchronisation;
    const TemporaryDirectory directory;
    const QString movie = directory.path("movie.vqf");
    ImageWriter writer;
    unsigned int frames = recordedFrames;
    const auto modify = [&] { writer.modify(movie); };
    const std::function<void()> edits[] = {
        modify,
        [&] { modify(), append(writer, frames); },
        [&] { modify(), append(writer, frames), writer.close(); },
        [&] { modify(), append(writer, frames), append(writer, frames + 1), writer.close(); },
        [&] { modify(), writer.replaceFrame(pixelsOf(0).data(), 0, 0.5F), writer.close(); },
    };
    Board board;
    for (; frames < recordedFrames + 2; ++frames) {
        for (const std::function<void()>& edit : edits) {
            bool happened = true;
            for (int n = 1; happened; ++n) {
                SCOPED_TRACE(testing::Message() << frames << " frames, edit " << &edit - edits << ", call " << n);
                record(movie, frames);
                const Interruption interruption(n, edit);
                EXPECT_EQ(watchOnce(movie, board), "");
                happened = Interruption::happened();
                writer.close();
            }
        }
    }
    figure("movies opened and read through", board.opened);
    figure("readers told to try again", board.refused);
    EXPECT_GT(board.opened, 20);
    EXPECT_GT(board.refused, 10);
}

} // namespace

} // namespace zd
