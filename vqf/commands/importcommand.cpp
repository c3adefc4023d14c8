#include <vqf/commands/command.h>

#include <libdataio/attributechunk.h>
#include <movietools/exchange/movieimport.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/wording.h>
#include <movietools/movie/attributerules.h>
#include <vqf/arguments/attributeargument.h>
#include <vqf/arguments/framearguments.h>
#include <vqf/arguments/outputargument.h>
#include <vqf/arguments/sizeargument.h>
#include <vqf/console/console.h>
#include <vqf/console/progressline.h>

#include <QJsonObject>

#include <memory>
#include <optional>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
A SOURCE is a TIFF stack (compressed or not, tiled or not, of either byte order; OME metadata are read), a folder of
PNG or TIFF pictures, a PNG picture, a NumPy array (frames, rows, columns), a file of samples, or a video, for which the
program ffmpeg must be installed. Pages become frames in the order given; sample values are kept exactly: 8, 16 or
32-bit integers (signed or not), 32 or 64-bit floats, RGB or RGBA of 8 bits. All pages must have one size and type.
What vqf export left in SOURCE.json gives the frames their times, laser powers, attributes and fibre centres again.
The movie appears only when it is complete.

Files of times and laser powers have one number in each line, one line for each page; empty lines and lines that
begin with # are skipped.

Examples:
  vqf import beads.tif -o beads.vqf
  vqf import part1.tif part2.tif -o cells.vqf --rate 12 --start 2024-03-01T10:00:00Z --laser-power 0.5
  vqf import cells.tif -o cells.vqf --times seconds.txt --attr operator=Curie --comment "left lobe"
  vqf import samples.bin -o cells.vqf --size 576x576 --type u16)";

struct ImportArguments {
    std::vector<std::string> stacks;
    MovieOutputArgument movie;
    FrameArguments frames;
    std::vector<std::string> attributes;
    std::string comment;
    bool checksums = false;
    std::string size;
    std::string type;
    std::uint64_t offset = 0;
    bool pixelsOnly = false;
};

void addAttribute(const std::string& argument, movietools::ImportOptions& options)
{
    const auto attribute = attributeArgument(argument);
    if (movietools::describesFrames(attribute.first))
        throw UsageError{"--attr " + argument + ": this attribute follows from the frames"};
    options.attributes.push_back(attribute);
}

// What files of samples hold; nothing unless the arguments say.
std::optional<movietools::RawFormat> rawFormat(const ImportArguments& arguments)
{
    if (arguments.size.empty() != arguments.type.empty())
        throw UsageError{"--size and --type belong together: --size 576x576 --type u16"};
    if (arguments.size.empty()) {
        if (arguments.offset != 0)
            throw UsageError{"--offset needs --size and --type"};
        return std::nullopt;
    }
    const QSize size = parseSize(arguments.size);
    movietools::RawFormat format{static_cast<std::uint32_t>(size.width()), static_cast<std::uint32_t>(size.height()),
                                 movietools::sampleTypeNamed(QString::fromStdString(arguments.type)), arguments.offset};
    if (format.type == ZD_UNKNOWN)
        throw UsageError{"--type " + arguments.type + ": write one of " +
                         movietools::sampleTypeNames().join(QStringLiteral(", ")).toStdString()};
    return format;
}

movietools::ImportOptions optionsOf(const ImportArguments& arguments)
{
    movietools::ImportOptions options;
    for (const std::string& stack : arguments.stacks)
        options.stacks.append(QString::fromStdString(stack));
    options.movie = arguments.movie.path();
    options.replace = arguments.movie.replaces();
    options.rawFormat = rawFormat(arguments);
    options.pixelsOnly = arguments.pixelsOnly;
    for (const std::string& attribute : arguments.attributes)
        addAttribute(attribute, options);
    options.comment = QString::fromStdString(arguments.comment).trimmed();
    const QString stored = AttributeChunk::formatComment(options.comment);
    const QString problem =
        stored.isEmpty() ? QString() : movietools::whyNotStorable(QStringLiteral("comment"), stored);
    if (!problem.isEmpty())
        throw UsageError{"--comment: the comment " + problem.toStdString()};
    options.checksums = arguments.checksums;
    arguments.frames.applyTo(options);
    return options;
}

ExitCode runImport(const ImportArguments& arguments)
{
    const movietools::ImportOptions options = optionsOf(arguments);
    movietools::ImportResult result;
    arguments.movie.whenFree([&] {
        ProgressLine progress;
        result = importMovie(options, progress.callback());
    });
    tell(
        QStringLiteral("%1: %2 frames of %3 (%4)")
            .arg(escaped(options.movie))
            .arg(result.frames)
            .arg(movietools::pictureText(result.width, result.height, result.type), movietools::sizeText(result.bytes)),
        {{QStringLiteral("path"), options.movie},
         {QStringLiteral("frames"), static_cast<qint64>(result.frames)},
         {QStringLiteral("width"), result.width},
         {QStringLiteral("height"), result.height},
         {QStringLiteral("type"), movietools::sampleTypeName(result.type)},
         {QStringLiteral("bytes"), static_cast<qint64>(result.bytes)}});
    return ExitCode::Done;
}

} // namespace

Command addImportCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("import", "Make a movie from pictures of other programs");
    auto arguments = std::make_shared<ImportArguments>();
    syntax.option("SOURCE", arguments->stacks, "Stacks, folders of pictures, arrays, videos").required();
    arguments->movie.addTo(syntax).required();
    arguments->frames.addTo(syntax);
    syntax.option("--attr", arguments->attributes, "A header attribute; may be given several times")
        .typeName("NAME=VALUE")
        .oneValueEach();
    syntax.option("--comment", arguments->comment, "The movie's comment; may have several lines").typeName("TEXT");
    syntax.flag("--checksum", arguments->checksums, "Give the movie checksums of its frames, for \"vqf verify\"");
    syntax.option("--size", arguments->size, "Size of the frames in a file of samples").typeName("WxH");
    syntax.option("--type", arguments->type, "Type of its samples: u8, s8, u16, s16, u32, s32, f32, f64, rgb8, rgba8")
        .typeName("TYPE");
    syntax.option("--offset", arguments->offset, "Bytes before its first frame").typeName("BYTES");
    syntax.flag("--pixels-only", arguments->pixelsOnly, "Leave what the sources say beside their pixels");
    syntax.footer(notes);
    return {syntax, [arguments] { return runImport(*arguments); }};
}

} // namespace zd::tool
