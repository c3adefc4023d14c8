// Records a simulated camera of 200 frames per second into a series of movies: acquire SERIES.vqf [SECONDS]
#include <common/iofileexception.h>
#include <libdataio/imagewriter.h>
#include <recording/recordingqueue.h>
#include <recording/serieswriter.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr int width = 576;
constexpr int height = 576;
constexpr int framesPerSecond = 200;
constexpr std::chrono::microseconds frameTime{1'000'000 / framesPerSecond};

// Stands for the instrument: fills the memory that it is given.
void expose(std::uint16_t* pixels, int frame)
{
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels[y * width + x] = static_cast<std::uint16_t>(2000 + (x * 3 + y * 5 + frame * 7) % 1024);
}

void show(const zd::RecordingStatistics& now)
{
    std::printf("%6lld frames, %3lld waiting, %lld dropped, slowest write %.1f ms, %.0f MB/s\n",
                static_cast<long long>(now.offered), static_cast<long long>(now.depth),
                static_cast<long long>(now.dropped), 1e-3 * static_cast<double>(now.slowestWrite.count()),
                1e-6 * now.bytesPerSecond);
}

// The camera does not wait: a frame that finds the queue full is lost, and counted.
void acquire(zd::RecordingQueue& queue, int frames)
{
    auto next = std::chrono::steady_clock::now();
    for (int frame = 0; frame < frames; ++frame, next += frameTime) {
        std::this_thread::sleep_until(next);
        if (void* pixels = queue.lease()) {
            expose(static_cast<std::uint16_t*>(pixels), frame);
            queue.commit(sizeof(std::uint16_t) * width * height, 0.5F);
        }
    }
}

bool record(const QString& name, int seconds)
{
    zd::SeriesWriter series;
    series.header().width(width);
    series.header().height(height);
    series.header().pixType(ZD_USHORT);
    series.create(name, {.partDuration = 60s});

    zd::RecordingQueue queue(series, {.whenFull = zd::WhenFull::Drop}); // of 256 MiB
    queue.observe(show, 1s);
    acquire(queue, seconds * framesPerSecond);
    queue.close();
    series.close();
    for (const zd::FrameRange& range : queue.droppedFrames())
        std::printf("lost: frames %lld to %lld\n", static_cast<long long>(range.first),
                    static_cast<long long>(range.last));
    return queue.statistics().dropped == 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3)
        return std::fprintf(stderr, "usage: acquire SERIES.vqf [SECONDS]\n"), 2;
    try {
        return record(QString::fromUtf8(argv[1]), argc == 3 ? std::atoi(argv[2]) : 10) ? 0 : 3;
    } catch (const zd::IOFileException& failure) {
        std::fprintf(stderr, "%s [%s]\n", qUtf8Printable(failure.message()), qUtf8Printable(failure.code()));
        return 1;
    }
}
