#include <vqf/commands/command.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/draw/moviepreview.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/movieedit.h>
#include <vqf/arguments/pictureoutput.h>
#include <vqf/arguments/sizeargument.h>

#include <memory>

#include <sys/resource.h>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
The frame is scaled to fit the box, keeping its shape, and coloured through the movie's palette; 16-bit frames are
stretched to their contrast. Movies of 8 and 16-bit integers have thumbnails. The picture's format is that of --to,
else it follows from the picture's name: png, jpg, bmp, ppm; to standard output it is png.

With --untrusted the program gives up after 2 seconds of work, and on headers of more than 2 MiB and frames of more
than 32 MiB: file managers draw thumbnails of whatever they come across.

Examples:
  vqf thumb cells.vqf -o cells.png
  vqf thumb cells.vqf -o large.png --size 800x600 --frame 12
  vqf thumb cells.vqf -o /tmp/thumbnail --to png --size 256 --untrusted --force)";

struct ThumbArguments {
    std::string movie;
    OutputArgument picture;
    int frame = 0;
    std::string size = "160x120";
    std::string format;
    bool untrusted = false;
};

/// A file made to keep the program busy ends it.
void limitWork()
{
    constexpr rlimit seconds{2, 3};
    ::setrlimit(RLIMIT_CPU, &seconds);
}

void open(ImageReader& movie, const QString& path, bool untrusted)
{
    if (!untrusted)
        return movietools::openHeader(movie, path);
    limitWork();
    try {
        movietools::openForPreview(movie, path);
    } catch (const IOFileException& report) {
        throw movietools::jobError(report, path);
    }
}

QImage render(const QString& path, int frame, const QSize& box, bool untrusted)
{
    ImageReader movie;
    open(movie, path, untrusted);
    const int index = frame < 0 ? frame + movie.nbFrames() : frame;
    if (index < 0 || index >= movie.nbFrames())
        movietools::refuse(path, QStringLiteral("has no frame %1: there are %2").arg(frame).arg(movie.nbFrames()),
                           QStringLiteral("frames are counted from 0, negative ones from the end"));
    QImage image;
    try {
        if (!movie.thumbnail(image, box.width(), box.height(), index))
            movietools::refuse(path, QStringLiteral("has no thumbnail of frame %1").arg(frame),
                               QStringLiteral("only whole frames of 8 and 16-bit integers have, and very "
                                              "narrow ones need a larger box"));
    } catch (const IOFileException& report) {
        throw movietools::jobError(report, path);
    }
    return image;
}

ExitCode runThumb(const ThumbArguments& arguments)
{
    const QSize box = parseSize(arguments.size);
    const QString movie = QString::fromStdString(arguments.movie);
    PictureOutput output(arguments.picture, movie, arguments.format);
    output.save(render(movie, arguments.frame, box, arguments.untrusted));
    return ExitCode::Done;
}

} // namespace

Command addThumbCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("thumb", "Draw a frame as a small picture");
    auto arguments = std::make_shared<ThumbArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    arguments->picture.addTo(syntax, "picture").required();
    syntax.option("--frame", arguments->frame, "The frame, from 0; negative from the end").showsDefault();
    syntax.option("--size", arguments->size, "The box to fit, in pixels").typeName("WIDTHxHEIGHT").showsDefault();
    syntax.option("--to", arguments->format, "The picture's format, whatever its name").typeName("FORMAT");
    syntax.flag("--untrusted", arguments->untrusted, "Bound what a file of unknown origin costs");
    syntax.footer(notes);
    return {syntax, [arguments] { return runThumb(*arguments); }};
}

} // namespace zd::tool
