// Memory of a reader that walks through a movie of 2 GB: what it takes besides header and frame, and whether that grows.

#include <bench/peers/peer.h>
#include <bench/support/pictures.h>
#include <bench/support/place.h>

#include <libdataio/chunkframing.h>
#include <libdataio/imagereader.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zd::bench {

namespace {

constexpr double mebibyte = 1 << 20;

/// A line of what the system tells of this process, in MiB.
double ofThisProcess(const std::string& line)
{
    std::ifstream status("/proc/self/status");
    std::string name;
    double kibibytes = 0;
    while (status >> name) {
        if (name == line && status >> kibibytes)
            return kibibytes / 1024;
        status.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    throw std::runtime_error("the system does not tell " + line);
}

double memoryInUse()
{
    return ofThisProcess("VmRSS:");
}

double mostMemoryInUse()
{
    return ofThisProcess("VmHWM:");
}

/// Gives back what is free, and lets the system count the most memory in use from here on.
void startCounting()
{
    ::malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5" << std::flush;
    if (mostMemoryInUse() > memoryInUse() + 1)
        throw std::runtime_error("the system does not forget how much memory was in use");
}

void writeMovie(const std::string& path, const Shape& shape, const Pictures& pictures)
{
    const auto sink = dataIO.create(path, shape);
    for (int i = 0; i < shape.count; ++i)
        sink->add(pictures.at(i));
    sink->finish();
}

/// Writes it in a process of its own, so that the reader gets no memory of the writer's.
void writeMovieElsewhere(const std::string& path, const Shape& shape, const Pictures& pictures)
{
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            writeMovie(path, shape, pictures);
            ::_exit(0);
        } catch (...) {
            ::_exit(1);
        }
    }
    int status = 0;
    if (child == -1 || ::waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error("cannot write " + path);
}

/// Besides its frames a movie holds what the reader keeps: index, times, laser powers and header.
double allowedMemory(const std::string& path, const Shape& shape)
{
    const auto chunkBytes = static_cast<double>(shape.frameBytes() + layout::framingBytes);
    const double info = static_cast<double>(std::filesystem::file_size(path)) - shape.count * chunkBytes;
    return (info + static_cast<double>(shape.frameBytes())) / mebibyte + 64;
}

void walk(benchmark::State& state, const Shape& shape)
{
    const Pictures pictures(shape.frameBytes());
    const std::string path = Place::disk().path(shape.name);
    writeMovieElsewhere(path, shape, pictures);
    for (auto _ : state) {
        startCounting();
        const double before = memoryInUse();
        double early = 0;
        ImageReader reader(QString::fromStdString(path));
        const void* frame = nullptr;
        for (int i = 0; reader.nextFrame(frame); ++i) {
            if (touch(frame, shape.frameBytes()) != pictures.sum(i))
                state.SkipWithError("wrong frames");
            if (i == shape.count / 20)
                early = mostMemoryInUse();
        }
        state.counters["peak_MiB"] = mostMemoryInUse() - before;
        state.counters["later_MiB"] = mostMemoryInUse() - early;
    }
    state.counters["limit_MiB"] = allowedMemory(path, shape);
    ::unlink(path.c_str());
}

void add(const Shape& shape)
{
    const std::string name = std::string("memory/") + shape.name + "/disk/DataIO";
    benchmark::RegisterBenchmark(name.c_str(), [&shape](benchmark::State& state) { walk(state, shape); })
        ->Iterations(1)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

constexpr std::size_t movieBytes = (std::size_t{1} << 31) - (std::size_t{32} << 20);

Shape filling(const char* name, int width, int height, int bits)
{
    Shape shape{name, width, height, bits, 0};
    shape.count = static_cast<int>(movieBytes / (shape.frameBytes() + layout::framingBytes + 32));
    return shape;
}

const Shape shapes[] = {filling("64x64x8", 64, 64, 8), filling("576x576x16", 576, 576, 16)};

const bool registered = [] {
    for (const Shape& shape : shapes)
        add(shape);
    return true;
}();

} // namespace

} // namespace zd::bench
