#include <vqf/command.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/joberror.h>
#include <movietools/movieedit.h>
#include <movietools/moviepreview.h>
#include <movietools/outputfile.h>
#include <vqf/console.h>
#include <vqf/outputargument.h>

#include <QFileInfo>
#include <QImageWriter>
#include <QRegularExpression>

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

QSize parseSize(const std::string& text)
{
    static const QRegularExpression form(QStringLiteral("^(\\d{1,5})(x(\\d{1,5}))?$"));
    const QRegularExpressionMatch match = form.match(QString::fromStdString(text));
    const int width = match.captured(1).toInt();
    const QSize size(width, match.hasCaptured(3) ? match.captured(3).toInt() : width);
    if (size.isEmpty())
        throw UsageError{"--size " + text + ": write width and height in pixels, like 160x120, or one for both"};
    return size;
}

/// The format to write, by the arguments, in small letters.
QByteArray pictureFormat(const ThumbArguments& arguments, const QString& path)
{
    const bool unnamed = arguments.picture.isStandardOutput();
    const QString byName = unnamed ? QStringLiteral("png") : QFileInfo(path).suffix();
    const QString wanted = arguments.format.empty() ? byName : QString::fromStdString(arguments.format);
    const QByteArray format = wanted.toLower().toLatin1();
    if (QImageWriter::supportedImageFormats().contains(format))
        return format;
    if (!arguments.format.empty())
        throw UsageError{"--to " + arguments.format + ": is no picture format; there are png, jpg, bmp, ppm"};
    throw UsageError{"-o " + path.toStdString() + ": name a picture, like thumb.png, or tell its format with --to"};
}

/// A file made to keep the program busy ends it.
void limitWork()
{
    constexpr rlimit seconds{2, 3};
    ::setrlimit(RLIMIT_CPU, &seconds);
}

void open(ImageReader& movie, const QString& path, bool untrusted)
{
    if (!untrusted)
        return movietools::openMovie(movie, path);
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
        throw movietools::JobError{path,
                                   QStringLiteral("has no frame %1: there are %2").arg(frame).arg(movie.nbFrames()),
                                   QStringLiteral("frames are counted from 0, negative ones from the end"),
                                   {}};
    QImage image;
    try {
        if (!movie.thumbnail(image, box.width(), box.height(), index))
            throw movietools::JobError{path,
                                       QStringLiteral("has no thumbnail of frame %1").arg(frame),
                                       QStringLiteral("only whole frames of 8 and 16-bit integers have, and very "
                                                      "narrow ones need a larger box"),
                                       {}};
    } catch (const IOFileException& report) {
        throw movietools::jobError(report, path);
    }
    return image;
}

ExitCode runThumb(const ThumbArguments& arguments)
{
    const QString path = arguments.picture.path();
    const QByteArray format = pictureFormat(arguments, path);
    const QSize box = parseSize(arguments.size);
    const QString movie = QString::fromStdString(arguments.movie);
    using movietools::OutputFile;
    OutputFile output(path, arguments.picture.replaces() ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse,
                      {movie});
    const QImage image = render(movie, arguments.frame, box, arguments.untrusted);
    QImageWriter writer(output.workPath(), format);
    if (!writer.write(image))
        throw movietools::JobError{path,
                                   QStringLiteral("cannot be written: ") + writer.errorString(),
                                   QStringLiteral("free some space or write elsewhere"),
                                   {}};
    output.commit();
    tell(QStringLiteral("%1: %2 x %3 pixels").arg(escaped(path)).arg(image.width()).arg(image.height()));
    return ExitCode::Done;
}

} // namespace

Command addThumbCommand(CLI::App& program)
{
    CLI::App* app = program.add_subcommand("thumb", "Draw a frame as a small picture");
    auto arguments = std::make_shared<ThumbArguments>();
    app->add_option("MOVIE", arguments->movie, "The movie to read")->required();
    arguments->picture.addTo(*app, "picture")->required();
    app->add_option("--frame", arguments->frame, "The frame, from 0; negative from the end")->capture_default_str();
    app->add_option("--size", arguments->size, "The box to fit, in pixels")
        ->type_name("WIDTHxHEIGHT")
        ->capture_default_str();
    app->add_option("--to", arguments->format, "The picture's format, whatever its name")->type_name("FORMAT");
    app->add_flag("--untrusted", arguments->untrusted, "Bound what a file of unknown origin costs");
    app->footer(notes);
    return {app, [arguments] { return runThumb(*arguments); }};
}

} // namespace zd::tool
