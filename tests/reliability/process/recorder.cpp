// Stands for a program that records: recorder MOVIE.vqf [log|untimed]
#include <common/iofileexception.h>
#include <libdataio/imagewriter.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

void record(const QString& path, const QString& how)
{
    zd::ImageWriter movie;
    movie.setRecordingLog(how == QLatin1StringView("log"));
    movie.create(path, false);
    movie.width(4);
    movie.height(3);
    movie.pixType(ZD_USHORT);
    movie.setComment(QStringLiteral("left lobe\nsecond line"));
    movie.attribute(QStringLiteral("operator"), QStringLiteral("Curie"));
    movie.addRasterFiberContinuousIndexes({1.5F, 0.5F, 2.5F, 1.25F, 0.5F, 2.0F});
    for (std::uint16_t frame = 0; frame < 4; ++frame) {
        std::array<std::uint16_t, 12> pixels{};
        pixels.fill(static_cast<std::uint16_t>(1000 + 10 * frame));
        pixels[frame] = 7;
        if (how == QLatin1StringView("untimed"))
            movie.addFrame(pixels.data(), 0.25F);
        else
            movie.addFrame(pixels.data(), {1'709'287'200 + frame, 0}, 0.25F);
    }
    movie.close();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return std::fprintf(stderr, "usage: recorder MOVIE.vqf [log|untimed]\n"), 2;
    try {
        record(QString::fromUtf8(argv[1]), QString::fromUtf8(argc > 2 ? argv[2] : ""));
    } catch (const zd::IOFileException& failure) {
        const bool isBusy = failure.message().endsWith(QString::fromLocal8Bit(std::strerror(EBUSY)));
        std::fprintf(stderr, "recorder: %s %s\n", argv[1],
                     isBusy ? "is being recorded or changed by another program" : qUtf8Printable(failure.message()));
        return 1;
    }
}
