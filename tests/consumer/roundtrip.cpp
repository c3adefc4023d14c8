// Records a movie and reads it back with nothing but the installed package. Exits 0 when everything came back.
#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <log/logger.h>

#include <QString>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr int width = 4;
constexpr int height = 3;
using Frame = std::array<std::uint16_t, width * height>;

Frame frameNumber(int index)
{
    Frame frame{};
    for (std::size_t i = 0; i < frame.size(); ++i)
        frame[i] = static_cast<std::uint16_t>(1000 * index + static_cast<int>(i));
    return frame;
}

void record(const QString& path)
{
    zd::ImageWriter writer;
    writer.create(path, false);
    writer.width(width);
    writer.height(height);
    writer.pixType(ZD_USHORT);
    for (int i = 0; i < 3; ++i)
        writer.addFrame(frameNumber(i).data(), zd::timeval{100 + i, 5}, 0.5F);
    writer.close();
}

bool sameMovie(const QString& path)
{
    zd::ImageReader reader(path);
    bool same = reader.nbFrames() == 3;
    for (int i = 0; same && i < 3; ++i) {
        const void* data = nullptr;
        zd::timeval time{};
        const Frame expected = frameNumber(i);
        same = reader.getFrame(data, static_cast<unsigned int>(i)) &&
               reader.getFrameTiming(static_cast<unsigned>(i), time) &&
               reader.frameSize() == std::int64_t{sizeof expected} &&
               std::memcmp(data, expected.data(), sizeof expected) == 0 && time.tv_sec == 100 + i && time.tv_usec == 5;
    }
    return same;
}

// An exception and a log record cross the boundary of the libraries.
bool reportsMissingFile()
{
    std::string logged;
    zd::Logger::setSink([&logged](const zd::LogRecord& record) { logged = record.code.toStdString(); });
    std::string thrown;
    try {
        zd::ImageReader reader(QStringLiteral("no such movie.vqf"));
    } catch (const zd::IOFileException& e) {
        thrown = e.code().toStdString();
    }
    zd::Logger::setSink({});
    return thrown == "FR_OF_STAT" && logged == thrown;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    const QString path = QString::fromLocal8Bit(argv[1]);
    try {
        record(path);
        if (!sameMovie(path) || !reportsMissingFile())
            return 1;
    } catch (const zd::IOFileException& e) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(e.code()), qPrintable(e.message()));
        return 1;
    }
    std::puts("recorded and read back");
    return 0;
}
