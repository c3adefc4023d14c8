// What is computed of the bytes of a movie: samples turned round, fibre positions, thumbnails. The movies lie in memory,
// so that reading is as small a part as it can be.

#include <bench/support/place.h>
#include <bench/support/scalarthumbnail.h>

#include <libdataio/detail/byteorder_p.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <libdataio/payloadbuffer.h>

#include <common/zdpalette.h>

#include <QImage>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace zd::bench {

namespace {

constexpr int side = 576;
constexpr int fibers = 30'000;
constexpr int boxWidth = 160;
constexpr int boxHeight = 120;

std::vector<char> noise(std::size_t bytes)
{
    std::mt19937 random(3);
    std::vector<char> samples(bytes);
    for (char& sample : samples)
        sample = static_cast<char>(random());
    return samples;
}

// --- Samples of the other byte order

using Convert = void (*)(const char*, char*, std::size_t);

void convertFrame(benchmark::State& state, std::size_t sampleBytes, Convert convert)
{
    const std::size_t bytes = side * side * sampleBytes;
    PayloadBuffer source; // as the reader's: it begins a page
    source.reserve(bytes);
    std::ranges::copy(noise(bytes), source.data());
    std::vector<char> target(bytes);
    for (auto _ : state) {
        convert(source.data(), target.data(), bytes / sampleBytes);
        benchmark::ClobberMemory();
    }
}

template <std::size_t sampleBytes>
void copySamples(const char* source, char* target, std::size_t samples)
{
    std::memcpy(target, source, samples * sampleBytes);
}

// --- Fibres

/// Fibre centres scattered over the frame, in no order.
std::vector<float> scatteredFibers()
{
    std::mt19937 random(5);
    std::uniform_real_distribution<float> coordinate(0, side - 1);
    std::vector<float> centers(2 * fibers);
    for (float& value : centers)
        value = coordinate(random);
    return centers;
}

QString fiberMovie()
{
    static const QString path = [] {
        const QString name = QString::fromStdString(Place::memory().path("fibers"));
        ImageWriter writer;
        writer.create(name, true);
        writer.width(side);
        writer.height(side);
        writer.pixType(ZD_UCHAR);
        writer.addFrame(noise(side * side).data(), 1.0F);
        writer.addRasterFiberContinuousIndexes(scatteredFibers());
        writer.addBundleBoundingBoxCoords(0, 0, side - 1, side - 1);
        writer.close();
        return name;
    }();
    return path;
}

void queryFibers(benchmark::State& state, ImageReader::FiberFilteringMode mode)
{
    ImageReader reader(fiberMovie());
    std::vector<float> positions;
    for (auto _ : state)
        reader.getRasterFiberContinuousIndexes(positions, mode);
    const bool filtered = mode % 3 == ImageReader::BundleBoundingBoxFiberFiltering;
    const auto kept = static_cast<double>(positions.size()) / (2.0 * fibers);
    if (filtered ? std::abs(kept - 0.785) > 0.02 : kept != 1.0) // an ellipse covers pi / 4 of its box
        state.SkipWithError("wrong fibres");
}

void copyFibers(benchmark::State& state)
{
    const std::vector<float> words = scatteredFibers();
    std::vector<float> copy(words.size());
    for (auto _ : state) {
        std::memcpy(copy.data(), words.data(), words.size() * sizeof(float));
        benchmark::ClobberMemory();
    }
}

/// The sort alone, as it is written at first: rows are rounded whenever two fibres are compared.
void sortFibers(benchmark::State& state)
{
    struct Fiber {
        float x;
        float y;
    };
    const std::vector<float> centers = scatteredFibers();
    std::vector<Fiber> unsorted(fibers);
    std::memcpy(unsorted.data(), centers.data(), centers.size() * sizeof(float));
    std::vector<Fiber> sorted;
    for (auto _ : state) {
        sorted = unsorted;
        std::sort(sorted.begin(), sorted.end(), [](const Fiber& a, const Fiber& b) {
            const float rowA = std::nearbyint(a.y);
            const float rowB = std::nearbyint(b.y);
            return rowA != rowB ? rowA < rowB : a.x < b.x;
        });
        benchmark::ClobberMemory();
    }
}

// --- Thumbnails

enum class Scene {
    Picture, ///< values and noise as a camera of twelve bits gives them
    Noise,   ///< every value of sixteen bits, as often as any other: the worst that can be
};

std::vector<char> samplesOf(Scene scene)
{
    constexpr std::size_t pixels = side * side;
    std::vector<char> samples = noise(pixels * sizeof(std::uint16_t));
    if (scene == Scene::Noise)
        return samples;
    for (std::size_t i = 0; i < pixels; ++i) {
        const double x = static_cast<double>(i % side) / 40;
        const double y = static_cast<double>(i / side) / 50;
        const double light = 2000 + 1700 * std::sin(x) * std::cos(y) + 4 * std::abs(samples[2 * i]) % 200;
        const auto value = static_cast<std::uint16_t>(light);
        std::memcpy(samples.data() + sizeof value * i, &value, sizeof value);
    }
    return samples;
}

QString writePictureMovie(Scene scene)
{
    const QString path = QString::fromStdString(Place::memory().path(scene == Scene::Noise ? "noise" : "picture"));
    ZdPalette palette;
    palette.initDefault();
    ImageWriter writer;
    writer.create(path, true);
    writer.width(side);
    writer.height(side);
    writer.pixType(ZD_USHORT);
    writer.setPalette(palette);
    writer.addFrame(samplesOf(scene).data(), 1.0F);
    writer.close();
    return path;
}

QString pictureMovie(Scene scene)
{
    static const QString paths[] = {writePictureMovie(Scene::Picture), writePictureMovie(Scene::Noise)};
    return paths[static_cast<std::size_t>(scene)];
}

void fetchFrame(benchmark::State& state, Scene scene)
{
    ImageReader reader(pictureMovie(scene));
    const void* frame = nullptr;
    for (auto _ : state)
        benchmark::DoNotOptimize(reader.getFrame(frame, 0));
}

void makeThumbnail(benchmark::State& state, Scene scene)
{
    ImageReader reader(pictureMovie(scene));
    QImage image;
    for (auto _ : state)
        reader.thumbnail(image, boxWidth, boxHeight, 0);
    if (image.width() != 119 || image.height() != 119)
        state.SkipWithError("wrong thumbnail");
}

/// What a thumbnail costs a program with plain loops: fetching the frame, sampling, and with `table` the colours too.
void makeScalarThumbnail(benchmark::State& state, Scene scene, bool table)
{
    ImageReader reader(pictureMovie(scene));
    const void* frame = nullptr;
    ZdPalette palette;
    QImage wanted;
    if (!reader.thumbnail(wanted, boxWidth, boxHeight, 0) || !reader.getFrame(frame, 0) || !reader.palette(palette))
        throw std::runtime_error("no thumbnail");
    ScalarThumbnail thumbnail(side, side, wanted.width(), wanted.height());
    thumbnail.buildTable(static_cast<const std::uint16_t*>(frame), palette);
    QImage image;
    for (auto _ : state) {
        reader.getFrame(frame, 0);
        const auto* samples = static_cast<const std::uint16_t*>(frame);
        if (table)
            thumbnail.buildTable(samples, palette);
        image = thumbnail.sample(samples);
    }
    if (image != wanted)
        state.SkipWithError("another picture than the library's");
}

template <typename Run>
void add(const std::string& name, Run run)
{
    benchmark::RegisterBenchmark(name.c_str(), run)->MinTime(0.05)->UseRealTime()->Unit(benchmark::kMicrosecond);
}

const bool registered = [] {
    add("swap/576x576x16/memory/DataIO", [](benchmark::State& state) { convertFrame(state, 2, detail::swap16); });
    add("swap/576x576x16/memory/memcpy", [](benchmark::State& state) { convertFrame(state, 2, copySamples<2>); });
    add("swap/576x576x32/memory/DataIO", [](benchmark::State& state) { convertFrame(state, 4, detail::swap32); });
    add("swap/576x576x32/memory/memcpy", [](benchmark::State& state) { convertFrame(state, 4, copySamples<4>); });

    const std::pair<const char*, ImageReader::FiberFilteringMode> modes[] = {
        {"fibres/continuous/tmpfs/DataIO", ImageReader::NoFiberFiltering},
        {"fibres/ellipse/tmpfs/DataIO", ImageReader::BundleBoundingBoxFiberFiltering},
        {"fibres/sorted/tmpfs/DataIO", ImageReader::NoFiberFilteringSorted},
    };
    for (const auto& [name, mode] : modes)
        add(name, [mode = mode](benchmark::State& state) { queryFibers(state, mode); });
    add("fibres/chunk/memory/memcpy", copyFibers);
    add("fibres/sorted/memory/std::sort", sortFibers);

    for (const Scene scene : {Scene::Picture, Scene::Noise}) {
        const std::string job = scene == Scene::Noise ? "thumbnail/576x576x16 noise/" : "thumbnail/576x576x16/";
        add(job + "tmpfs/DataIO", [=](benchmark::State& state) { makeThumbnail(state, scene); });
        add(job + "tmpfs/fetch the frame", [=](benchmark::State& state) { fetchFrame(state, scene); });
        add(job + "tmpfs/sampling", [=](benchmark::State& state) { makeScalarThumbnail(state, scene, false); });
        add(job + "tmpfs/scalar table", [=](benchmark::State& state) { makeScalarThumbnail(state, scene, true); });
    }
    return true;
}();

} // namespace

} // namespace zd::bench
