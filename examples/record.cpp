// Records a movie of 50 frames: record MOVIE.vqf
#include <common/iofileexception.h>
#include <libdataio/imagewriter.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

constexpr int width = 320;
constexpr int height = 240;

// Stands for the instrument: one picture of 16-bit samples, rows from the top.
void acquire(std::vector<std::uint16_t>& pixels, int frame)
{
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            pixels[static_cast<std::size_t>(y * width + x)] =
                static_cast<std::uint16_t>(2000 + 1500 * std::sin(0.05 * (x + 4 * frame)) * std::cos(0.04 * y));
}

void record(const QString& path)
{
    zd::ImageWriter movie;
    movie.create(path, true); // every frame gets the clock's time
    movie.width(width);
    movie.height(height);
    movie.pixType(ZD_USHORT);
    movie.setComment(QStringLiteral("A drifting pattern\nrecorded by an example"));
    movie.attribute(QStringLiteral("operator"), QStringLiteral("Curie"));

    std::vector<std::uint16_t> pixels(static_cast<std::size_t>(width) * height);
    for (int frame = 0; frame < 50; ++frame) {
        acquire(pixels, frame);
        movie.addFrame(pixels.data(), 0.5F); // at half of the full laser power
    }
    movie.close(); // writes times, laser powers, header and index
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return std::fprintf(stderr, "usage: record MOVIE.vqf\n"), 2;
    try {
        record(QString::fromUtf8(argv[1]));
    } catch (const zd::IOFileException& failure) {
        std::fprintf(stderr, "%s [%s]\n", qUtf8Printable(failure.message()), qUtf8Printable(failure.code()));
        return 1;
    }
}
