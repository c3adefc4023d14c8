#include <tests/reliability/heap.h>
#include <tests/support/childprocess.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>

#include <gtest/gtest.h>

#include <QImage>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

namespace zd {

namespace {

using namespace test;

constexpr std::int64_t mebibyte = 1 << 20;
/// What the system adds to the account of a process that runs code for the first time.
constexpr std::int64_t ownPages = mebibyte / 2;

/// A movie, and what of it the bounds go by.
struct Sample {
    const char* name;
    std::string movie;
    std::int64_t infoPayload = 0;
    int box = 160; ///< side of the thumbnail asked for
};

/// By how much the process grew at most, in bytes.
struct Peaks {
    std::int64_t opening = 0;
    std::int64_t frames = 0;
    std::int64_t thumbnail = 0;
};

/// What `operation` takes at most: asked of `malloc`, or seen by the system, whichever is more.
std::int64_t peakOf(const std::function<void()>& operation)
{
    std::ofstream("/proc/self/clear_refs") << 5; // the system's peak starts anew
    const std::int64_t resident = residentMemory("VmRSS");
    const std::int64_t allocated = heap::bytes();
    heap::resetPeak();
    operation();
    return std::max(residentMemory("VmHWM") - resident, heap::peak() - allocated);
}

void readAllFrames(ImageReader& reader)
{
    const int frames = std::min(reader.nbFrames(), 100);
    const void* data = nullptr;
    for (int index = 0; index < frames; ++index) {
        if (!reader.getFrame(data, static_cast<unsigned int>(index)))
            return;
    }
}

/// Any report will do: the bounds hold for it as well.
void quietly(const std::function<void()>& operation)
{
    try {
        operation();
    } catch (const IOFileException&) {
    }
}

/// Reads a movie in a process of its own.
Peaks peaksOfReview(const QString& path, int box)
{
    Peaks& peaks = sharedValue<Peaks>();
    const pid_t child = fork();
    if (child == 0) {
        ImageReader reader;
        QImage image;
        std::vector<float> centers;
        peaks.opening = peakOf([&] { quietly([&] { reader.open(path); }); });
        peaks.frames = peakOf([&] { quietly([&] { readAllFrames(reader); }); });
        peaks.thumbnail = peakOf([&] { quietly([&] { reader.thumbnail(image, box, box, 0); }); });
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    return peaks;
}

Sample withInfo(const char* name, const std::string& payload)
{
    return {.name = name, .movie = chunk(5, payload), .infoPayload = static_cast<std::int64_t>(payload.size())};
}

/// Samples in the other byte order, which are turned in a buffer.
std::string swappedMovie(const std::string& pixels, int width, int height, int type, int bits)
{
    return MovieBuilder().frame(pixels).frameFormat(width, height, type, bits).attribute("endian", "1").movie();
}

std::string repeated(const std::function<std::string(std::size_t)>& piece, std::size_t count)
{
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += piece(i);
    return all;
}

std::vector<Sample> samples()
{
    const std::string lines = repeated([](std::size_t i) { return std::to_string(100'000 + i) + "=1\n"; }, 466'000);
    const std::string types =
        repeated([](std::size_t i) { return word(static_cast<std::uint32_t>(i) + 100) + word(0) + word(16); }, 300'000);
    const std::string tiny = MovieBuilder().frame(std::string(100, '\x7F')).frameFormat(10, 10, 3, 8).movie();
    const std::string longFrame(32 * mebibyte, 'p');
    return {
        {"a header of 4 GiB", endHeader(5, 0xFFFFFFFF)},
        {"a header of 3.75 GiB", std::string(100, 'x') + endHeader(5, 0xF0000000)},
        withInfo("an index of 358 million records", word(0x15555555)),
        withInfo("4 MiB of empty lines", word(0) + std::string(4 * mebibyte, '\n')),
        withInfo("466,000 attributes", word(0) + lines),
        withInfo("300,000 chunk types", word(300'000) + types),
        {"a frame of 3.75 GiB",
         startHeader(2, 0xF0000000) + MovieBuilder().record(2, 0, 0xF0000000).frameFormat(4, 2, 5, 16).movie()},
        {"a palette of 2 billion nodes",
         MovieBuilder().frame("x").attribute("pal_nbcols", "2147483647").frameFormat(4, 2, 3, 8).movie()},
        {"4 GiB to turn", swappedMovie("x", 32768, 32768, 7, 32)},
        {"64 MiB to turn", swappedMovie("x", 4096, 4096, 7, 32)},
        {"64 MiB missing", MovieBuilder().frame("x").frameFormat(8192, 8192, 3, 8).movie()},
        {"32 MiB to turn, all there", swappedMovie(longFrame, 4096, 4096, 5, 16), 0},
        {"a picture of 8191 x 8191", tiny, 0, 8191},
        {"a picture of 60,000 x 60,000", tiny, 0, 60'000},
    };
}

class MemoryBounds : public testing::Test {
protected:
    void SetUp() override
    {
        if (DATAIO_SANITIZED)
            GTEST_SKIP() << "a sanitizer's memory is not the library's";
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
};

TEST_F(MemoryBounds, FollowTheFileAndNoNumberInIt)
{
    for (const Sample& sample : samples()) {
        SCOPED_TRACE(sample.name);
        writeFile(m_path, sample.movie);
        const Peaks peaks = peaksOfReview(m_path, sample.box);
        const auto size = static_cast<std::int64_t>(sample.movie.size());
        const std::int64_t picture = sample.box > 8191 ? 0 : 4 * std::int64_t{sample.box} * sample.box;
        std::ostringstream kibibytes;
        kibibytes << "open " << peaks.opening / 1024 << ", frames " << peaks.frames / 1024 << ", thumbnail "
                  << peaks.thumbnail / 1024 << " KiB";
        figure(sample.name, kibibytes.str());
        EXPECT_LE(peaks.opening, 8 * mebibyte + 32 * std::max<std::int64_t>(sample.infoPayload, 200));
        EXPECT_LE(peaks.frames, 64 * mebibyte + 2 * size + ownPages);
        EXPECT_LE(peaks.thumbnail, 8 * mebibyte + picture);
        if (size < 64 * 1024 && sample.box == 160) {
            EXPECT_LE(peaks.opening + peaks.frames + peaks.thumbnail, 80 * mebibyte);
        }
    }
}

TEST_F(MemoryBounds, SmallFilesTakeLittle)
{
    std::int64_t most = 0;
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(HOSTILE_MOVIES)) {
        const Peaks peaks = peaksOfReview(QString::fromStdString(file.path().string()), 160);
        most = std::max(most, peaks.opening + peaks.frames + peaks.thumbnail);
        files += file.file_size() < 64 * 1024 ? 1 : 0;
    }
    figure("files below 64 KiB", files);
    figure("most memory that one of them takes, in KiB", most / 1024);
    EXPECT_GT(files, 50);
    EXPECT_LE(most, 80 * mebibyte);
}

} // namespace

} // namespace zd
