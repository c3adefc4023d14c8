// Opening: a movie of 100,000 frames, of which the first, the last and one other are looked at; and a header of 200,000
// lines that holds the frame times as attributes.

#include <bench/peers/peer.h>
#include <bench/support/pictures.h>
#include <bench/support/place.h>

#include <libdataio/chunkinfo.h>
#include <libdataio/filereader.h>
#include <libdataio/filewriter.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagereader.h>

#include <QStringList>

#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace zd::bench {

namespace {

constexpr Shape longMovie{"100000 frames", 64, 64, 8, 100'000};
constexpr int frameTimes = 100'000;
const Place* const places[] = {&Place::disk(), &Place::memory()};

const Pictures& pictures()
{
    static const Pictures all(longMovie.frameBytes());
    return all;
}

std::string movieOf(const Peer& peer, const Place& place)
{
    const std::string path = place.path(peer.name);
    if (::access(path.c_str(), F_OK) != 0) {
        const auto sink = peer.create(path, longMovie);
        for (int i = 0; i < longMovie.count; ++i)
            sink->add(pictures().at(i));
        sink->finish();
        settle(place, path);
    }
    return path;
}

/// The three frames that a viewer shows first; a different one in the middle each time.
struct FirstLook {
    int frames[3] = {0, longMovie.count - 1, longMovie.count / 2};

    void moveOn() { frames[2] = static_cast<int>((std::int64_t{frames[2]} * 48271 + 11) % longMovie.count); }
};

void openMovie(benchmark::State& state, const Peer& peer, const Place& place)
{
    const std::string path = movieOf(peer, place);
    FirstLook look;
    bool right = true;
    for (auto _ : state) {
        look.moveOn();
        const auto source = peer.open(path, longMovie);
        for (const int frame : look.frames)
            right &= touch(source->at(frame), longMovie.frameBytes()) == pictures().sum(frame);
    }
    if (!right)
        state.SkipWithError("wrong frames");
}

struct Extent {
    std::size_t size;
    off_t offset;
};

/// Where the chunks lie that opening reads, besides frames.
std::vector<Extent> headerExtents(const std::string& path)
{
    FileReader file;
    file.openFile(QString::fromStdString(path));
    if (!file.seekEnd() || !file.prevChunk(ZD_INFO_CHUNK))
        throw std::runtime_error("no movie");
    ChunkInfo info;
    info.load(file.data(), static_cast<unsigned int>(file.chunkSize()));
    const ChunkRecord& last = info[ZD_LASER_POWER_CHUNK].at(0);
    const ChunkRecord& times = info[ZD_FRAME_TIMER_CHUNK].at(0);
    const auto extent = [](std::size_t length, std::size_t offset) {
        return Extent{length + layout::headerBytes, static_cast<off_t>(offset)};
    };
    const std::size_t infoStart = last.offset + last.length + static_cast<std::size_t>(layout::framingBytes);
    return {extent(static_cast<std::size_t>(file.chunkSize()), infoStart), extent(times.length, times.offset),
            extent(last.length, last.offset)};
}

/// The least that opening could do: the same bytes into a buffer that is there already.
void bareReads(benchmark::State& state, const Place& place)
{
    const std::string path = movieOf(dataIO, place);
    const std::vector<Extent> extents = headerExtents(path);
    std::vector<char> buffer(extents[0].size + longMovie.frameBytes());
    FirstLook look;
    bool right = true;
    for (auto _ : state) {
        look.moveOn();
        const int fd = ::open(path.c_str(), O_RDONLY);
        for (const Extent& extent : extents)
            right &= ::pread(fd, buffer.data(), extent.size, extent.offset) == static_cast<ssize_t>(extent.size);
        const std::size_t frame = longMovie.frameBytes();
        for (const int index : look.frames) {
            const off_t start = index * static_cast<off_t>(frame + layout::framingBytes);
            right &= ::pread(fd, buffer.data(), frame, start + layout::headerBytes) == static_cast<ssize_t>(frame);
            right &= touch(buffer.data(), frame) == pictures().sum(index);
        }
        ::close(fd);
    }
    if (!right)
        state.SkipWithError("wrong frames");
}

/// A movie whose header tells the frame times, two lines each. Returns the header's text.
std::string writeTalkativeMovie(const std::string& path)
{
    ChunkInfo info;
    FrameTimer times;
    for (int i = 0; i < frameTimes; ++i)
        times.push_back({1'700'000'000 + i / 10, (i * 7'919) % 1'000'000});
    times.dumpToChunkInfo(info);
    info.set(layout::key::endian, layout::littleEndian);
    info.set(layout::key::width, longMovie.width);
    info.set(layout::key::height, longMovie.height);
    FileWriter file;
    file.openFile(QString::fromStdString(path), FileWriterCreate);
    const int offset =
        file.addChunk(ZD_FRAME_CHUNK, pictures().at(0), static_cast<unsigned int>(longMovie.frameBytes()));
    info[ZD_FRAME_CHUNK].emplace_back(static_cast<std::uint32_t>(offset),
                                      static_cast<std::uint32_t>(longMovie.frameBytes()));
    int size = 0;
    const std::unique_ptr<char[]> payload(static_cast<char*>(info.save(size)));
    file.addChunk(ZD_INFO_CHUNK, payload.get(), static_cast<unsigned int>(size));
    QString text;
    info.dump(text);
    return text.toLatin1().toStdString();
}

/// The movie's path and its header's text.
const std::pair<std::string, std::string>& talkativeMovie()
{
    static const auto movie = [] {
        const std::string path = Place::memory().path("talkative");
        return std::pair(path, writeTalkativeMovie(path));
    }();
    return movie;
}

/// Frees what was opened, which is no part of opening.
template <typename T>
void leave(benchmark::State& state, std::unique_ptr<T>& opened)
{
    state.PauseTiming();
    opened.reset();
    state.ResumeTiming();
}

void openHeader(benchmark::State& state)
{
    const QString path = QString::fromStdString(talkativeMovie().first);
    bool right = true;
    for (auto _ : state) {
        auto reader = std::make_unique<ImageReader>(path);
        timeval last{};
        right &= reader->getFrameTiming(frameTimes - 1, last) && last.tv_sec == 1'700'000'000 + (frameTimes - 1) / 10;
        leave(state, reader);
    }
    if (!right)
        state.SkipWithError("wrong times");
}

/// Finds every line end and every "=", and does nothing with them.
void bareScan(benchmark::State& state)
{
    const std::string& text = talkativeMovie().second;
    std::size_t lines = 0;
    for (auto _ : state) {
        lines = 0;
        const char* const end = text.data() + text.size();
        for (const char* at = text.data(); at < end; ++lines) {
            const auto* lineEnd = static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
            benchmark::DoNotOptimize(std::memchr(at, '=', static_cast<std::size_t>(lineEnd - at)));
            at = lineEnd + 1;
        }
    }
    if (lines < 2 * frameTimes)
        state.SkipWithError("wrong lines");
}

using Values = std::map<QString, QString>;

/// What a program without the library would write: a list of lines, then a map.
std::unique_ptr<Values> valuesBySplitting(const std::string& text)
{
    auto values = std::make_unique<Values>();
    const QString decoded = QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
    const QStringList lines = decoded.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        const QString trimmed = line.trimmed();
        const qsizetype equals = trimmed.indexOf(QLatin1Char('='));
        if (equals > 0 && equals + 1 < trimmed.size() && !trimmed.startsWith(QLatin1Char('#')))
            (*values)[trimmed.left(equals)] = trimmed.mid(equals + 1);
    }
    return values;
}

void splitLists(benchmark::State& state)
{
    std::size_t entries = 0;
    for (auto _ : state) {
        std::unique_ptr<Values> values = valuesBySplitting(talkativeMovie().second);
        entries = values->size();
        leave(state, values);
    }
    if (entries < 2 * frameTimes)
        state.SkipWithError("wrong entries");
}

template <typename Run>
benchmark::internal::Benchmark* add(const std::string& name, Run run)
{
    return benchmark::RegisterBenchmark(name.c_str(), run)->UseRealTime()->Unit(benchmark::kMillisecond);
}

template <typename Run>
void addOpening(const std::string& name, Run run)
{
    add(name, run)->MinTime(0.05)->MinWarmUpTime(0.02);
}

/// Each takes so long that few will do.
void addParsing(const char* name, void (*run)(benchmark::State&))
{
    add(std::string("header/200000 lines/tmpfs/") + name, run)->MinTime(0.2)->MinWarmUpTime(0.05);
}

const bool registered = [] {
    for (const Place* place : places) {
        const std::string job = std::string("open/100000 frames/") + place->name() + "/";
        for (const Peer* peer : {&dataIO, &tiff, &hdf5Movie, &hdf5Chunked})
            addOpening(job + peer->name, [=](benchmark::State& state) { openMovie(state, *peer, *place); });
        addOpening(job + "bare reads", [=](benchmark::State& state) { bareReads(state, *place); });
    }
    addParsing("DataIO", openHeader);
    addParsing("bare scan", bareScan);
    addParsing("split lists", splitLists);
    return true;
}();

} // namespace

} // namespace zd::bench
