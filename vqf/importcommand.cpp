#include <vqf/command.h>

#include <libdataio/attributechunk.h>
#include <movietools/attributerules.h>
#include <movietools/tiffimport.h>
#include <movietools/wording.h>
#include <vqf/attributeargument.h>
#include <vqf/console.h>
#include <vqf/framearguments.h>
#include <vqf/outputargument.h>
#include <vqf/progressline.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Pages become frames in the order given; sample values are kept exactly. The stacks may be compressed, tiled and of
either byte order: 8, 16 or 32-bit integers (signed or not), 32 or 64-bit floats, RGB or RGBA of 8 bits. All pages
must have one size and type. The movie appears only when it is complete.

Files of times and laser powers have one number in each line, one line for each page; empty lines and lines that
begin with # are skipped. Without --times or --start the frames have no times.

Examples:
  vqf import beads.tif -o beads.vqf
  vqf import part1.tif part2.tif -o cells.vqf --rate 12 --start 2024-03-01T10:00:00Z --laser-power 0.5
  vqf import cells.tif -o cells.vqf --times seconds.txt --attr operator=Curie --comment "left lobe")";

struct ImportArguments {
    std::vector<std::string> stacks;
    OutputArgument movie;
    FrameArguments frames;
    std::vector<std::string> attributes;
    std::string comment;
    bool checksums = false;
};

void addAttribute(const std::string& argument, movietools::TiffImportOptions& options)
{
    const auto attribute = attributeArgument(argument);
    if (movietools::describesFrames(attribute.first))
        throw UsageError{"--attr " + argument + ": this attribute follows from the frames"};
    options.attributes.push_back(attribute);
}

movietools::TiffImportOptions optionsOf(const ImportArguments& arguments)
{
    movietools::TiffImportOptions options;
    for (const std::string& stack : arguments.stacks)
        options.stacks.append(QString::fromStdString(stack));
    options.movie = arguments.movie.path();
    options.replace = arguments.movie.replaces();
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
    const movietools::TiffImportOptions options = optionsOf(arguments);
    movietools::TiffImportResult result;
    {
        ProgressLine progress;
        result = importTiff(options, progress.callback());
    }
    tell(QStringLiteral("%1: %2 frames of %3 (%4)")
             .arg(escaped(options.movie))
             .arg(result.frames)
             .arg(movietools::pictureText(result.width, result.height, result.type),
                  movietools::sizeText(result.bytes)));
    return ExitCode::Done;
}

} // namespace

Command addImportCommand(CLI::App& program)
{
    CLI::App* app = program.add_subcommand("import", "Make a movie from TIFF stacks");
    auto arguments = std::make_shared<ImportArguments>();
    app->add_option("STACK", arguments->stacks, "TIFF files, one page for each frame")->required();
    arguments->movie.addTo(*app, "movie")->required();
    arguments->frames.addTo(*app);
    app->add_option("--attr", arguments->attributes, "A header attribute; may be given several times")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app->add_option("--comment", arguments->comment, "The movie's comment; may have several lines")->type_name("TEXT");
    app->add_flag("--checksum", arguments->checksums, "Give the movie checksums of its frames, for \"vqf verify\"");
    app->footer(notes);
    return {app, [arguments] { return runImport(*arguments); }};
}

} // namespace zd::tool
