// Goes through a movie frame by frame: review MOVIE.vqf
#include <common/iofileexception.h>
#include <libdataio/imagereader.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

// Mean of 16-bit samples. They are borrowed from the reader and may lie at any address, so they are copied out.
double meanOf(const void* samples, std::int64_t bytes)
{
    double sum = 0;
    for (std::int64_t i = 0; i + 1 < bytes; i += 2) {
        std::uint16_t sample = 0;
        std::memcpy(&sample, static_cast<const char*>(samples) + i, sizeof sample);
        sum += sample;
    }
    return bytes < 2 ? 0 : 2 * sum / static_cast<double>(bytes);
}

void review(const QString& path)
{
    zd::ImageReader movie(path);
    int width = 0, height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    if (movie.width(width) && movie.height(height) && movie.pixType(type))
        std::printf("%d frames of %d x %d, %d bits\n", movie.nbFrames(), width, height, GetPixBits(type));
    std::printf("%s\n", qUtf8Printable(movie.getComment()));

    for (unsigned frame = 0; frame < static_cast<unsigned>(movie.nbFrames()); ++frame) {
        std::printf("frame %u", frame);
        if (zd::timeval time; movie.getFrameTiming(frame, time))
            std::printf("  %d.%06d s", time.tv_sec, time.tv_usec);
        if (float power = 0; movie.getLaserPower(frame, power))
            std::printf("  laser %.0f %%", 100.0 * power);
        const void* samples = nullptr;
        if (!movie.getFrame(samples, frame))
            std::printf("  cannot be read");
        else if (type == ZD_USHORT)
            std::printf("  mean %.1f", meanOf(samples, movie.frameSize()));
        std::printf("\n");
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return std::fprintf(stderr, "usage: review MOVIE.vqf\n"), 2;
    try {
        review(QString::fromUtf8(argv[1]));
    } catch (const zd::IOFileException& failure) {
        std::fprintf(stderr, "%s [%s]\n", qUtf8Printable(failure.message()), qUtf8Printable(failure.code()));
        return 1;
    }
}
