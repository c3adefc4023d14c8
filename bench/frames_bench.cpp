// Whole movies, frame after frame: written, read in sequence, read at random. Every variant moves the same frames, and
// every reader is checked to have delivered them.

#include <bench/peers/peer.h>
#include <bench/support/pictures.h>
#include <bench/support/place.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>

#include <unistd.h>

namespace zd::bench {

namespace {

constexpr Shape shapes[] = {
    {"64x64x8", 64, 64, 8, 20'000},
    {"576x576x16", 576, 576, 16, 200},
    {"1024x1024x16", 1024, 1024, 16, 64},
};
const Place* const places[] = {&Place::disk(), &Place::memory()};

const Pictures& picturesOf(const Shape& shape)
{
    static std::map<std::size_t, Pictures> all;
    return all.try_emplace(shape.frameBytes(), shape.frameBytes()).first->second;
}

void writeMovie(const Peer& peer, const std::string& path, const Shape& shape, const Pictures& pictures)
{
    const auto sink = peer.create(path, shape);
    for (int i = 0; i < shape.count; ++i)
        sink->add(pictures.at(i));
    sink->finish();
}

void writeAll(benchmark::State& state, const Peer& peer, const Shape& shape, const Place& place)
{
    const std::string path = place.path("written");
    const Pictures& pictures = picturesOf(shape);
    for (auto _ : state)
        writeMovie(peer, path, shape, pictures);
    ::unlink(path.c_str());
}

/// The movie that the readers of one kind share. It is written when it is first asked for.
std::string movieOf(const Peer& peer, const Shape& shape, const Place& place)
{
    const std::string path = place.path(std::string(shape.name) + " " + peer.name);
    if (::access(path.c_str(), F_OK) != 0) {
        writeMovie(peer, path, shape, picturesOf(shape));
        settle(place, path);
    }
    return path;
}

/// Reads frames in the order given; whether they were the right ones.
template <typename Deliver>
bool readFrames(const Peer& peer, const std::string& path, const Shape& shape, const std::vector<int>& order,
                Deliver deliver)
{
    const Pictures& pictures = picturesOf(shape);
    const auto source = peer.open(path, shape);
    bool right = true;
    for (const int index : order)
        right &= touch(deliver(*source, index), shape.frameBytes()) == pictures.sum(index);
    return right;
}

template <typename Deliver>
void readMovie(benchmark::State& state, const Peer& peer, const Shape& shape, const Place& place,
               const std::vector<int>& order, Deliver deliver)
{
    const std::string path = movieOf(peer, shape, place);
    bool right = readFrames(peer, path, shape, order, deliver); // caches and branches get warm
    for (auto _ : state)
        right &= readFrames(peer, path, shape, order, deliver);
    if (!right)
        state.SkipWithError("wrong frames");
}

std::vector<int> inSequence(int count)
{
    std::vector<int> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), 0);
    return order;
}

void readAll(benchmark::State& state, const Peer& peer, const Shape& shape, const Place& place)
{
    readMovie(state, peer, shape, place, inSequence(shape.count),
              [](FrameSource& source, int) { return source.next(); });
}

void readRandom(benchmark::State& state, const Peer& peer, const Shape& shape, const Place& place)
{
    std::vector<int> order = inSequence(shape.count);
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    readMovie(state, peer, shape, place, order, [](FrameSource& source, int index) { return source.at(index); });
}

using Job = void (*)(benchmark::State&, const Peer&, const Shape&, const Place&);

void add(const char* job, Job run, const Peer& peer, const Shape& shape, const Place& place)
{
    const std::string name = std::string(job) + "/" + shape.name + "/" + place.name() + "/" + peer.name;
    benchmark::RegisterBenchmark(
        name.c_str(), [=, &peer, &shape, &place](benchmark::State& state) { run(state, peer, shape, place); })
        ->Iterations(1)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

const bool registered = [] {
    const Peer* const everyone[] = {&dataIO, &raw, &tiff, &hdf5Chunked, &hdf5Contiguous};
    for (const Place* place : places) {
        for (const Shape& shape : shapes) {
            for (const Peer* peer : everyone) {
                add("write", writeAll, *peer, shape, *place);
                add("read", readAll, *peer, shape, *place);
            }
            add("read", readAll, rawAligned, shape, *place);
        }
        for (const Peer* peer : everyone)
            add("random", readRandom, *peer, shapes[1], *place);
        add("random", readRandom, rawAligned, shapes[1], *place);
    }
    return true;
}();

} // namespace

} // namespace zd::bench
