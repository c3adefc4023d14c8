#include <vqf/command.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/joberror.h>
#include <movietools/movieedit.h>
#include <movietools/outputfile.h>
#include <vqf/console.h>
#include <vqf/outputargument.h>

#include <QFileInfo>
#include <QImageWriter>
#include <QRegularExpression>

#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
The frame is scaled to fit the box, keeping its shape, and coloured through the movie's palette; 16-bit frames are
stretched to their contrast. Movies of 8 and 16-bit integers have thumbnails. The picture's format follows from its
name: png, jpg, bmp, ppm; to standard output it is png.

Examples:
  vqf thumb cells.vqf -o cells.png
  vqf thumb cells.vqf -o large.png --size 800x600 --frame 12)";

struct ThumbArguments {
    std::string movie;
    OutputArgument picture;
    int frame = 0;
    std::string size = "160x120";
};

QSize parseSize(const std::string& text)
{
    static const QRegularExpression form(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$"));
    const QRegularExpressionMatch match = form.match(QString::fromStdString(text));
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    if (size.isEmpty())
        throw UsageError{"--size " + text + ": write width and height in pixels, like 160x120"};
    return size;
}

QImage render(const QString& path, int frame, const QSize& box)
{
    ImageReader movie;
    movietools::openMovie(movie, path);
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
    const QByteArray format =
        arguments.picture.isStandardOutput() ? "png" : QFileInfo(path).suffix().toLower().toLatin1();
    if (!QImageWriter::supportedImageFormats().contains(format))
        throw UsageError{"-o " + path.toStdString() + ": name a picture, like thumb.png"};
    const QSize box = parseSize(arguments.size);
    const QString movie = QString::fromStdString(arguments.movie);
    using movietools::OutputFile;
    OutputFile output(path, arguments.picture.replaces() ? OutputFile::Existing::Replace : OutputFile::Existing::Refuse,
                      {movie});
    const QImage image = render(movie, arguments.frame, box);
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
    app->footer(notes);
    return {app, [arguments] { return runThumb(*arguments); }};
}

} // namespace zd::tool
