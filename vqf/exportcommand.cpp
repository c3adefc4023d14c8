#include <vqf/command.h>

#include <movietools/tiffexport.h>
#include <movietools/wording.h>
#include <vqf/console.h>
#include <vqf/framechoice.h>
#include <vqf/outputargument.h>
#include <vqf/progressline.h>

#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Each frame becomes a page, uncompressed, sample values kept exactly; the movie's comment becomes the description of
the first page. Stacks over 4 GB are written as BigTIFF. The stack appears only when it is complete.

A frame that cannot be read is left out and told; the exit code is then 3.

Examples:
  vqf export cells.vqf -o cells.tif
  vqf export cells.vqf -o part.tif --time 0.5s:2s
  vqf export cells.vqf -o some.tif --frames 0:100:2,250,-1)";

constexpr std::size_t mostFramesTold = 10;

struct ExportArguments {
    std::string movie;
    OutputArgument stack;
    FrameChoice frames;
};

void tellLostFrames(const QString& movie, const std::vector<movietools::LostFrame>& lost)
{
    for (std::size_t i = 0; i < std::min(lost.size(), mostFramesTold); ++i)
        complain(QStringLiteral("%1: frame %2 %3").arg(movie).arg(lost[i].frame).arg(lost[i].reason));
    if (lost.size() > mostFramesTold)
        complain(QStringLiteral("%1: and %2 frames more").arg(movie).arg(lost.size() - mostFramesTold));
}

ExitCode runExport(const ExportArguments& arguments)
{
    movietools::TiffExportOptions options;
    options.movie = QString::fromStdString(arguments.movie);
    options.stack = arguments.stack.path();
    options.replace = arguments.stack.replaces();
    options.frames = arguments.frames.selection();
    movietools::TiffExportResult result;
    {
        ProgressLine progress;
        result = exportTiff(options, progress.callback());
    }
    tell(QStringLiteral("%1: %2 pages of %3 (%4%5)")
             .arg(escaped(options.stack))
             .arg(result.frames)
             .arg(movietools::pictureText(result.width, result.height, result.type), movietools::sizeText(result.bytes),
                  result.bigTiff ? QStringLiteral(", BigTIFF") : QString()));
    tellLostFrames(options.movie, result.lost);
    return result.lost.empty() ? ExitCode::Done : ExitCode::SomethingLost;
}

} // namespace

Command addExportCommand(CLI::App& program)
{
    CLI::App* app = program.add_subcommand("export", "Write frames as a TIFF stack");
    auto arguments = std::make_shared<ExportArguments>();
    app->add_option("MOVIE", arguments->movie, "The movie to read")->required();
    arguments->stack.addTo(*app, "stack")->required();
    arguments->frames.addTo(*app);
    app->footer(notes);
    return {app, [arguments] { return runExport(*arguments); }};
}

} // namespace zd::tool
