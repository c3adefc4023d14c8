#include <vqf/commands/command.h>

#include <movietools/exchange/movieexport.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/wording.h>
#include <vqf/arguments/framechoice.h>
#include <vqf/arguments/outputargument.h>
#include <vqf/console/console.h>
#include <vqf/console/lostframes.h>
#include <vqf/console/progressline.h>

#include <QFileInfo>
#include <QJsonObject>

#include <cmath>
#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
The form follows from the name of the output, or from --to:
  tif      a stack, one page for each frame; BigTIFF when it is over 4 GB
  ome.tif  the same with times, laser powers, attributes and fibre centres as OME metadata
  png      a folder with a picture for each frame; tifs: the same as TIFF files
  raw npy  the samples of all frames in one file, the latter with NumPy's header
  csv      times and laser powers alone
  mkv mp4  video, lossless or to look at; needs the program ffmpeg
Samples are kept exactly in all forms but mp4. PNG pictures and videos hold signed samples with half their range added.
What a form cannot hold lies beside it in OUTPUT.json (in a folder in movie.json), which vqf import reads; a plain
stack has that file with --sidecar. The output appears only when it is complete.

--palette and --depth make pictures to look at. A frame that cannot be read is left out and told; the exit code is
then 3.

Examples:
  vqf export cells.vqf -o cells.ome.tif
  vqf export cells.vqf -o part.tif --time 0.5s:2s
  vqf export cells.vqf -o pictures --to png --depth 8 --frames 0:100:2
  vqf export cells.vqf -o cells.npy
  vqf export cells.vqf -o times.csv)";

struct ExportArguments {
    std::string movie;
    OutputArgument output;
    FrameChoice frames;
    std::string form;
    bool palette = false;
    int depth = 0;
    std::vector<double> range;
    bool sidecar = false;
    bool noSidecar = false;
    bool regions = false;
};

movietools::ExchangeForm formOf(const ExportArguments& arguments, const QString& output)
{
    using movietools::ExchangeForm;
    if (!arguments.form.empty()) {
        const ExchangeForm form = *movietools::formNamed(QString::fromStdString(arguments.form));
        if (arguments.output.isStandardOutput() && (isFolder(form) || isVideo(form)))
            throw UsageError{"-o -: " + arguments.form + " cannot go to standard output"};
        return form;
    }
    const auto form = movietools::formOfFile(output);
    if (!form && !QFileInfo(output).suffix().isEmpty())
        throw UsageError{"-o " + output.toStdString() +
                         ": its name tells no form; name one with --to, like --to png for a folder "
                         "of pictures"};
    return form.value_or(ExchangeForm::Tiff);
}

void applyLook(const ExportArguments& arguments, movietools::ExportOptions& options)
{
    if (arguments.palette)
        options.look = movietools::FrameLook::Palette;
    else if (arguments.depth != 0)
        options.look = arguments.depth == 8 ? movietools::FrameLook::Grey8 : movietools::FrameLook::Grey16;
    if (arguments.range.empty())
        return;
    if (!(arguments.range[0] < arguments.range[1]) || !std::isfinite(arguments.range[1] - arguments.range[0]))
        throw UsageError{"--range: write the values for black and white, the smaller one first"};
    options.range = {arguments.range[0], arguments.range[1]};
}

movietools::ExportOptions optionsOf(const ExportArguments& arguments)
{
    movietools::ExportOptions options;
    options.movie = QString::fromStdString(arguments.movie);
    options.output = arguments.output.path();
    options.form = formOf(arguments, options.output);
    options.replace = arguments.output.replaces();
    options.frames = arguments.frames.selection();
    const bool isStack = options.form == movietools::ExchangeForm::Tiff; // which usually stands alone
    options.sidecar = (arguments.sidecar || !isStack) && !arguments.noSidecar && !arguments.output.isStandardOutput();
    options.fiberRegions = arguments.regions;
    applyLook(arguments, options);
    return options;
}

ExitCode runExport(const ExportArguments& arguments)
{
    const movietools::ExportOptions options = optionsOf(arguments);
    movietools::ExportResult result;
    {
        ProgressLine progress;
        result = exportMovie(options, progress.callback());
    }
    tell(QStringLiteral("%1: %2 frames of %3 (%4%5)")
             .arg(escaped(options.output))
             .arg(result.frames)
             .arg(movietools::pictureText(result.width, result.height, result.type), movietools::sizeText(result.bytes),
                  result.bigTiff ? QStringLiteral(", BigTIFF") : QString()),
         {{QStringLiteral("path"), options.output},
          {QStringLiteral("form"), movietools::formName(options.form)},
          {QStringLiteral("frames"), static_cast<qint64>(result.frames)},
          {QStringLiteral("width"), result.width},
          {QStringLiteral("height"), result.height},
          {QStringLiteral("type"), movietools::sampleTypeName(result.type)},
          {QStringLiteral("bytes"), static_cast<qint64>(result.bytes)},
          {QStringLiteral("lost"), static_cast<qint64>(result.lost.size())}});
    return tellLostFrames(options.movie, result.lost);
}

std::vector<std::string> formWords()
{
    std::vector<std::string> words;
    for (const QString& name : movietools::formNames())
        words.push_back(name.toStdString());
    return words;
}

} // namespace

Command addExportCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("export", "Write frames in a form for other programs");
    auto arguments = std::make_shared<ExportArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    arguments->output.addTo(syntax, "file or folder").required();
    syntax.option("--to", arguments->form, "The form, when the name of the output does not tell it")
        .oneOf(formWords())
        .typeName("FORM");
    arguments->frames.addTo(syntax);
    const Option palette = syntax.flag("--palette", arguments->palette, "Colours through the movie's palette");
    const Option depth = syntax.option("--depth", arguments->depth, "Grey of 8 or 16 bits, scaled to the movie's range")
                             .oneOf({8, 16})
                             .typeName("BITS")
                             .excludes(palette);
    syntax.option("--range", arguments->range, "Values for black and white, instead of the movie's")
        .values(2)
        .needs(depth)
        .typeName("LOW HIGH");
    const Option sidecar =
        syntax.flag("--sidecar", arguments->sidecar, "Write the JSON file beside a plain stack, too");
    syntax.flag("--no-sidecar", arguments->noSidecar, "Write no JSON file").excludes(sidecar);
    syntax.flag("--fiber-regions", arguments->regions, "Add the fibre centres to OME metadata as a region of interest");
    syntax.footer(notes);
    return {syntax, [arguments] { return runExport(*arguments); }};
}

} // namespace zd::tool
