// Records what an instrument would: a moving scene seen through a hexagonal bundle of about 30,000 fibres, frames
// arriving one by one, stamped by the clock: simulate MOVIE.vqf [FRAMES]
#include <common/iofileexception.h>
#include <common/zdpalette.h>
#include <libdataio/imagewriter.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

namespace {

constexpr int side = 576;              // pixels, of a square frame
constexpr float bundleRadius = 280.0F; // pixels
constexpr float pitch = 3.07F;         // pixels from a fibre to its neighbours
constexpr float center = (side - 1) / 2.0F;

struct Fiber {
    float x;
    float y;
    float transmission;
};

/// A small generator of uniform numbers: the same movie on every machine.
class Noise {
public:
    float next() // 0 to 1
    {
        m_state = m_state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<float>(m_state >> 40U) / 16777216.0F;
    }

private:
    std::uint64_t m_state = 20240301;
};

// Fibres in hexagonal packing, each a little off its place and with a transmission of its own.
std::vector<Fiber> makeBundle(Noise& noise)
{
    std::vector<Fiber> fibers;
    const float rowHeight = pitch * std::sqrt(3.0F) / 2;
    const int rows = static_cast<int>(bundleRadius / rowHeight);
    const int columns = static_cast<int>(bundleRadius / pitch) + 1;
    for (int row = -rows; row <= rows; ++row) {
        for (int column = -columns; column <= columns; ++column) {
            const float x = pitch * (static_cast<float>(column) + (row % 2 == 0 ? 0.0F : 0.5F));
            const float y = rowHeight * static_cast<float>(row);
            if (std::hypot(x, y) > bundleRadius)
                continue;
            fibers.push_back({center + x + 0.3F * (noise.next() - 0.5F), center + y + 0.3F * (noise.next() - 0.5F),
                              0.6F + 0.4F * noise.next()});
        }
    }
    return fibers;
}

/// How each pixel sees the bundle: through the nearest fibre, the dimmer the farther it is from its centre.
struct PixelMap {
    std::vector<std::int32_t> fiber; // -1 outside of the bundle
    std::vector<float> weight;
};

PixelMap mapPixels(const std::vector<Fiber>& fibers)
{
    constexpr std::size_t pixels = std::size_t{side} * side;
    PixelMap map{std::vector<std::int32_t>(pixels, -1), std::vector<float>(pixels, 0)};
    std::vector<float> nearest(pixels, std::numeric_limits<float>::max());
    constexpr int reach = 3;
    for (std::size_t i = 0; i < fibers.size(); ++i) {
        const int column = static_cast<int>(std::lround(fibers[i].x));
        const int row = static_cast<int>(std::lround(fibers[i].y));
        for (int y = std::max(0, row - reach); y <= std::min(side - 1, row + reach); ++y) {
            for (int x = std::max(0, column - reach); x <= std::min(side - 1, column + reach); ++x) {
                const auto pixel = static_cast<std::size_t>(y * side + x);
                const float distance =
                    std::hypot(static_cast<float>(x) - fibers[i].x, static_cast<float>(y) - fibers[i].y);
                if (distance >= std::min(nearest[pixel], pitch))
                    continue;
                nearest[pixel] = distance;
                map.fiber[pixel] = static_cast<std::int32_t>(i);
                map.weight[pixel] = std::exp(-distance * distance / (0.3F * pitch * pitch));
            }
        }
    }
    return map;
}

// Brightness of the scene, 0 to 1: a honeycomb of cells that drifts and breathes.
float scene(float x, float y, float time)
{
    const float u = 0.05F * (x + 30 * time) + 0.4F * std::sin(0.02F * y + time);
    const float v = 0.05F * (y + 12 * time);
    const float waves = std::cos(u) + std::cos(0.5F * u + 0.866F * v) + std::cos(0.5F * u - 0.866F * v);
    return 0.25F + 0.75F * std::pow(std::fabs(waves) / 3, 0.7F);
}

void render(const std::vector<Fiber>& fibers, const PixelMap& map, float time, float power, Noise& noise,
            std::vector<float>& light, std::vector<std::uint16_t>& pixels)
{
    for (std::size_t i = 0; i < fibers.size(); ++i)
        light[i] = 5000 * power * fibers[i].transmission * scene(fibers[i].x, fibers[i].y, time);
    for (std::size_t pixel = 0; pixel < pixels.size(); ++pixel) {
        const std::int32_t fiber = map.fiber[pixel];
        const float signal = fiber < 0 ? 0 : map.weight[pixel] * light[static_cast<std::size_t>(fiber)];
        pixels[pixel] = static_cast<std::uint16_t>(100 + signal + 20 * noise.next());
    }
}

void describe(zd::ImageWriter& movie, const std::vector<Fiber>& fibers)
{
    movie.width(side);
    movie.height(side);
    movie.pixType(ZD_USHORT);
    movie.setComment(QStringLiteral("Simulated acquisition\n%1 fibres over a drifting scene").arg(fibers.size()));
    movie.attribute(QStringLiteral("data_type"), QStringLiteral("imp"));
    movie.addBundleBoundingBoxCoords(center - bundleRadius, center - bundleRadius, center + bundleRadius,
                                     center + bundleRadius);
    std::vector<float> centers;
    for (const Fiber& fiber : fibers)
        centers.insert(centers.end(), {fiber.x, fiber.y});
    movie.addRasterFiberContinuousIndexes(centers);
    zd::ZdPalette palette;
    palette.initDefault();
    palette.cropMin = 100;
    palette.cropMax = 4000;
    movie.setPalette(palette);
}

void simulate(const QString& path, int frames)
{
    Noise noise;
    const std::vector<Fiber> fibers = makeBundle(noise);
    const PixelMap map = mapPixels(fibers);
    std::vector<float> light(fibers.size());
    std::vector<std::uint16_t> pixels(std::size_t{side} * side);

    zd::ImageWriter movie;
    movie.create(path, true);
    describe(movie, fibers);
    for (int frame = 0; frame < frames; ++frame) {
        const float time = static_cast<float>(frame) / 12;
        const float power = 0.6F + 0.2F * std::sin(time);
        render(fibers, map, time, power, noise, light, pixels);
        movie.addFrame(pixels.data(), power);
    }
    movie.close();
    std::printf("%d frames through %zu fibres\n", frames, fibers.size());
}

} // namespace

int main(int argc, char** argv)
{
    const int frames = argc > 2 ? std::atoi(argv[2]) : 200;
    if (argc < 2 || argc > 3 || frames < 1)
        return std::fprintf(stderr, "usage: simulate MOVIE.vqf [FRAMES]\n"), 2;
    try {
        simulate(QString::fromUtf8(argv[1]), frames);
    } catch (const zd::IOFileException& failure) {
        std::fprintf(stderr, "%s [%s]\n", qUtf8Printable(failure.message()), qUtf8Printable(failure.code()));
        return 1;
    }
}
