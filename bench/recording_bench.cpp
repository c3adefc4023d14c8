// How long an instrument waits for a frame to be taken: through a queue, into a movie or a series, and by the synchronous
// call, on a calm machine and with the disk kept busy; how much such recordings move; and what memory they take.
// All in one run, side by side. Usage: recording_bench [--frames N] [--bytes N] [latency|throughput|series]...

#include <bench/support/pictures.h>
#include <bench/support/place.h>

#include <libdataio/imagewriter.h>
#include <recording/recordingqueue.h>
#include <recording/serieswriter.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace zd::bench {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int width = 576;
constexpr int height = 576;
constexpr std::size_t frameBytes = std::size_t{2} * width * height;
constexpr auto frameTime = 5ms; // 200 a second

/// Takes a frame; whether it was taken.
using Take = std::function<bool(const void* frame)>;

/// How often the scheduler has taken the processor away from this thread for another.
long preemptions()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nivcsw;
}

/// How long calls took, in microseconds.
class Distribution {
public:
    static void printHead()
    {
        std::printf(
            "| %-34s | %7s | %7s | %7s | %7s | %6s | %10s | %7s |\n| --- | --- | --- | --- | --- | --- | --- | --- |\n",
            "", "median", "99 %", "99.9 %", "most", "> 5 ms", "preempted*", "dropped");
    }
    template <typename Call>
    void time(Call call)
    {
        const long before = preemptions();
        const Clock::time_point start = Clock::now();
        call();
        const double took = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
        m_times.push_back(took);
        m_late += took > late ? 1 : 0;
        m_latePreempted += took > late && preemptions() != before ? 1 : 0;
    }
    void print(const char* what, std::int64_t dropped)
    {
        std::ranges::sort(m_times);
        std::printf("| %-34s | %7.0f | %7.0f | %7.0f | %7.0f | %6d | %10d | %7lld |\n", what, _at(0.5), _at(0.99),
                    _at(0.999), m_times.back(), m_late, m_latePreempted, static_cast<long long>(dropped));
        std::fflush(stdout);
    }

private:
    static constexpr double late = 5000;

    double _at(double share) const
    {
        return m_times[static_cast<std::size_t>(share * static_cast<double>(m_times.size() - 1))];
    }

    std::vector<double> m_times;
    int m_late = 0;
    int m_latePreempted = 0; // of those, while another program had the processor
};

/// Keeps the disk busy while it lives: writes one big file after the other, and waits for the device.
class BusyDisk {
public:
    BusyDisk()
    {
        m_thread = std::thread([this] {
            const std::vector<char> block(8 << 20, 'x');
            const std::string path = Place::disk().path("busy");
            while (!m_end) {
                const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
                for (int i = 0; i < 128 && !m_end; ++i)
                    if (::write(fd, block.data(), block.size()) == -1)
                        break;
                ::fdatasync(fd);
                ::close(fd);
            }
            ::unlink(path.c_str());
        });
    }
    BusyDisk(const BusyDisk&) = delete;
    BusyDisk& operator=(const BusyDisk&) = delete;
    ~BusyDisk()
    {
        m_end = true;
        m_thread.join();
    }

private:
    std::atomic<bool> m_end = false;
    std::thread m_thread;
};

const Pictures& pictures()
{
    static const Pictures all(frameBytes);
    return all;
}

void giveHeader(ImageWriter& movie)
{
    movie.width(width);
    movie.height(height);
    movie.pixType(ZD_USHORT);
}

/// Offers frames at the instrument's speed.
Distribution atSpeed(int frames, const Take& take)
{
    Distribution distribution;
    Clock::time_point next = Clock::now();
    for (int i = 0; i < frames; ++i, next += frameTime) {
        std::this_thread::sleep_until(next);
        const void* frame = pictures().at(i);
        touch(frame, frameBytes); // has just been delivered
        distribution.time([&] { take(frame); });
    }
    return distribution;
}

/// A movie, a series or nothing that frames go into, removed at the end.
class Recording {
public:
    enum Kind {
        Copy,     ///< nothing but the copy of the frame into one buffer
        CopyRing, ///< and into 256 MiB of buffers in turn
        Movie,    ///< the synchronous call
        Queue,    ///< a queue into a movie
        Series,   ///< a series, synchronously
        QueueOfSeries,
    };

    Recording(Kind kind, std::uint64_t partBytes, WhenFull whenFull) : m_kind(kind)
    {
        if (kind == Copy || kind == CopyRing)
            m_buffers.resize(kind == Copy ? 1 : (256 << 20) / frameBytes, std::vector<char>(frameBytes));
        if (kind == Movie || kind == Queue) {
            m_movie.create(QString::fromStdString(Place::disk().path("movie.vqf")), false);
            giveHeader(m_movie);
        }
        if (kind == Series || kind == QueueOfSeries) {
            giveHeader(m_series.header());
            m_series.create(QString::fromStdString(Place::disk().path("series.vqf")), {.partBytes = partBytes});
        }
        if (kind == Queue)
            m_queue.emplace(m_movie, RecordingQueueOptions{.whenFull = whenFull});
        if (kind == QueueOfSeries)
            m_queue.emplace(m_series, RecordingQueueOptions{.whenFull = whenFull});
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    ~Recording()
    {
        finish();
        for (const auto& file : std::filesystem::directory_iterator(Place::disk().path("")))
            if (file.path().extension() == ".vqf")
                std::filesystem::remove(file.path());
    }

    bool take(const void* frame)
    {
        if (m_queue)
            return m_queue->push(frame, frameBytes, 0.5F);
        const timeval time{m_frames / 200, m_frames % 200 * 5000};
        ++m_frames;
        if (m_kind == Movie)
            m_movie.addFrame(frame, static_cast<int>(frameBytes), time, 0.5F);
        else if (m_kind == Series)
            m_series.addFrame(frame, static_cast<int>(frameBytes), time, 0.5F);
        else
            std::memcpy(m_buffers[static_cast<std::size_t>(m_frames) % m_buffers.size()].data(), frame, frameBytes);
        return true;
    }
    std::int64_t dropped() const { return m_queue ? m_queue->statistics().dropped : 0; }
    std::int64_t deepest() const { return m_queue ? m_queue->statistics().deepest : 0; }
    void finish()
    {
        if (m_queue)
            m_queue->close();
        m_movie.close();
        m_series.close();
    }
    int parts() const { return m_series.part(); }

private:
    const Kind m_kind;
    ImageWriter m_movie;
    SeriesWriter m_series;
    std::optional<RecordingQueue> m_queue;
    std::vector<std::vector<char>> m_buffers;
    int m_frames = 0;
};

struct Variant {
    const char* name;
    Recording::Kind kind;
};
constexpr Variant variants[] = {
    {"copy, one buffer", Recording::Copy},
    {"copy, 256 MiB of buffers", Recording::CopyRing},
    {"movie: addFrame", Recording::Movie},
    {"queue into a movie: push", Recording::Queue},
    {"series of 100 MB parts: addFrame", Recording::Series},
    {"queue into such a series: push", Recording::QueueOfSeries},
};

void latency(int frames)
{
    for (const bool busy : {false, true}) {
        std::optional<BusyDisk> others;
        if (busy)
            others.emplace();
        std::printf("\n%d frames of %zu bytes at 200 a second, %s; microseconds\n\n", frames, frameBytes,
                    busy ? "the disk kept busy" : "no other load from here");
        Distribution::printHead();
        for (const Variant& variant : variants) {
            Recording recording(variant.kind, 100'000'000, WhenFull::Drop);
            Distribution times = atSpeed(frames, [&](const void* frame) { return recording.take(frame); });
            times.print(variant.name, recording.dropped());
        }
    }
}

double secondsFor(Recording::Kind kind, int frames)
{
    Recording recording(kind, 400'000'000, WhenFull::Block);
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < frames; ++i)
        recording.take(pictures().at(i));
    recording.finish();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// As fast as frames are taken, in rounds: the queue's part in what a recording takes.
void throughput()
{
    constexpr int frames = 1500;
    constexpr int rounds = 7;
    std::vector<double> seconds[std::size(variants)];
    for (int round = 0; round < rounds; ++round)
        for (std::size_t i = 2; i < std::size(variants); ++i)
            seconds[i].push_back(secondsFor(variants[i].kind, frames));
    std::printf("\n%d frames as fast as they are taken, close included; median of %d rounds\n\n", frames, rounds);
    for (std::size_t i = 2; i < std::size(variants); ++i) {
        std::ranges::sort(seconds[i]);
        std::printf("| %-34s | %6.0f MB/s | %.2f |\n", variants[i].name,
                    1e-6 * frames * frameBytes / seconds[i][rounds / 2],
                    seconds[2][rounds / 2] / seconds[i][rounds / 2]);
    }
}

double residentMiB()
{
    std::ifstream status("/proc/self/statm");
    double pages = 0;
    status >> pages >> pages;
    return pages * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

/// A long recording: what memory it takes on the way.
void longSeries(std::int64_t bytes)
{
    Recording recording(Recording::QueueOfSeries, 1'000'000'000, WhenFull::Block);
    const auto frames = static_cast<int>(bytes / static_cast<std::int64_t>(frameBytes));
    std::printf("\nA series of %.1f GB in parts of 1 GB through a queue of 256 MiB\n\n",
                1e-9 * static_cast<double>(bytes));
    for (int i = 0; i < frames; ++i) {
        recording.take(pictures().at(i));
        if (i % (frames / 8) == frames / 16)
            std::printf("| %5d frames | %7.1f MiB resident |\n", i, residentMiB());
    }
    const int parts = recording.parts();
    recording.finish();
    std::printf("| %5d frames | %7.1f MiB resident | %d parts |\n", frames, residentMiB(), parts);
}

} // namespace

} // namespace zd::bench

int main(int argc, char** argv)
{
    using namespace zd::bench;
    int frames = 3000;
    std::int64_t bytes = 10'000'000'000;
    std::vector<std::string_view> jobs;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word == "--frames" && i + 1 < argc)
            frames = std::atoi(argv[++i]);
        else if (word == "--bytes" && i + 1 < argc)
            bytes = std::atoll(argv[++i]);
        else if (word == "latency" || word == "throughput" || word == "series")
            jobs.push_back(word);
        else
            return std::fprintf(stderr,
                                "Usage: recording_bench [--frames N] [--bytes N] [latency|throughput|series]...\n"),
                   2;
    }
    const auto wanted = [&](std::string_view job) { return jobs.empty() || std::ranges::count(jobs, job) > 0; };
    if (wanted("latency"))
        latency(frames);
    if (wanted("throughput"))
        throughput();
    if (wanted("series"))
        longSeries(bytes);
}
