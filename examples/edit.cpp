// Changes a closed movie in place: edit MOVIE.vqf
#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>

#include <cstdio>
#include <vector>

namespace {

// A copy of the movie's first frame: what the reader delivers is valid only until its next step.
std::vector<char> firstFrame(const QString& path)
{
    zd::ImageReader movie(path);
    const void* samples = nullptr;
    if (!movie.getFrame(samples, 0))
        return {};
    const auto* bytes = static_cast<const char*>(samples);
    return {bytes, bytes + movie.frameSize()};
}

void edit(const QString& path)
{
    const std::vector<char> frame = firstFrame(path);
    if (frame.empty())
        return;

    // From modify to close a crash leaves the old movie or the new one.
    zd::ImageWriter movie;
    movie.modify(path);
    movie.setComment(movie.getComment() + QStringLiteral("\nedited by an example"));
    movie.setFirstFrame(1);                                                      // the second frame comes first
    movie.replaceFrame(frame.data(), 0, 0.25F);                                  // and is replaced by the former first
    movie.addFrame(frame.data(), static_cast<int>(frame.size()), {2000, 0}, -1); // time; laser power not known
    movie.close();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2)
        return std::fprintf(stderr, "usage: edit MOVIE.vqf\n"), 2;
    try {
        edit(QString::fromUtf8(argv[1]));
        std::printf("%s now has %d frames\n", argv[1], zd::ImageReader(QString::fromUtf8(argv[1])).nbFrames());
    } catch (const zd::IOFileException& failure) {
        std::fprintf(stderr, "%s [%s]\n", qUtf8Printable(failure.message()), qUtf8Printable(failure.code()));
        return 1;
    }
}
