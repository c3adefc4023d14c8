#include <vqf/commands/command.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/movieedit.h>
#include <vqf/console/table.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Modes: stored keeps all fibres where they are, clamped moves them into the frame, bundle keeps those inside the
frame and the outline of the bundle.
Forms: raster is column and row in pixels, index the same rounded to whole pixels, offset the pixel's number in the
frame (row x width + column), world has y upwards and the longer side of the frame from 0 to 1.

Examples:
  vqf fibers cells.vqf > fibers.csv
  vqf fibers cells.vqf --mode bundle --sorted --form world --json)";

struct FibersArguments {
    std::string movie;
    std::string mode = "stored";
    bool sorted = false;
    std::string form = "raster";
    TableFormatArgument format{"csv"};
};

/// Values of the fibres, `columns.size()` each.
struct Fibers {
    std::vector<Column> columns;
    std::vector<double> values;
};

ImageReader::FiberFilteringMode modeOf(const FibersArguments& arguments)
{
    const bool bundle = arguments.mode == "bundle";
    const bool clamped = arguments.mode == "clamped";
    if (arguments.sorted)
        return bundle    ? ImageReader::BundleBoundingBoxFiberFilteringSorted
               : clamped ? ImageReader::SizeClampFiberFilteringSorted
                         : ImageReader::NoFiberFilteringSorted;
    return bundle    ? ImageReader::BundleBoundingBoxFiberFiltering
           : clamped ? ImageReader::SizeClampFiberFiltering
                     : ImageReader::NoFiberFiltering;
}

template <typename T>
Fibers fibersOf(const std::vector<const char*>& names, const std::vector<T>& values)
{
    constexpr int width = 14;
    Fibers fibers{{}, std::vector<double>(values.begin(), values.end())};
    for (const char* name : names)
        fibers.columns.push_back({name, name, width});
    return fibers;
}

Fibers query(ImageReader& movie, const FibersArguments& arguments)
{
    const ImageReader::FiberFilteringMode mode = modeOf(arguments);
    std::vector<float> positions;
    std::vector<unsigned int> numbers;
    if (arguments.form == "index") {
        movie.getRasterFiberIndexes(numbers, mode);
        return fibersOf({"column", "row"}, numbers);
    }
    if (arguments.form == "offset") {
        movie.getFiberOffsets(numbers, mode);
        return fibersOf({"offset"}, numbers);
    }
    if (arguments.form == "world")
        movie.getWorldFiberCenters(positions, mode);
    else
        movie.getRasterFiberContinuousIndexes(positions, mode);
    return fibersOf({"x", "y"}, positions);
}

Cell cell(double value)
{
    constexpr int digits = 9; // tell every float from its neighbours
    const QString text = QString::number(value, 'g', digits);
    return {value, text, text};
}

void printFibers(const FibersArguments& arguments, const Fibers& fibers)
{
    TablePrinter table(arguments.format.value(), QStringLiteral("vqf.fibers"),
                       {{QStringLiteral("movie"), QString::fromStdString(arguments.movie)},
                        {QStringLiteral("mode"), QString::fromStdString(arguments.mode)},
                        {QStringLiteral("sorted"), arguments.sorted},
                        {QStringLiteral("form"), QString::fromStdString(arguments.form)}},
                       QStringLiteral("fibers"), fibers.columns);
    const std::size_t width = fibers.columns.size();
    for (std::size_t i = 0; i + width <= fibers.values.size(); i += width) {
        std::vector<Cell> row{cell(fibers.values[i])};
        if (width > 1)
            row.push_back(cell(fibers.values[i + 1]));
        table.row(row);
    }
    table.finish();
}

ExitCode runFibers(const FibersArguments& arguments)
{
    const QString path = QString::fromStdString(arguments.movie);
    ImageReader movie;
    movietools::openHeader(movie, path);
    Fibers fibers;
    try {
        fibers = query(movie, arguments);
        // Only the bundle's outline can leave none over.
        movietools::requireFibers(movie, path, !fibers.values.empty() || arguments.mode == "bundle");
    } catch (const IOFileException& report) {
        throw movietools::jobError(report, path);
    }
    printFibers(arguments, fibers);
    return ExitCode::Done;
}

} // namespace

Command addFibersCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("fibers", "List the positions of the fibres");
    auto arguments = std::make_shared<FibersArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    syntax.option("--mode", arguments->mode, "stored, clamped or bundle")
        .oneOf({"stored", "clamped", "bundle"})
        .typeName("MODE")
        .showsDefault();
    syntax.flag("--sorted", arguments->sorted, "Row by row, instead of in the order of the file");
    syntax.option("--form", arguments->form, "raster, index, offset or world")
        .oneOf({"raster", "index", "offset", "world"})
        .typeName("FORM")
        .showsDefault();
    arguments->format.addTo(syntax);
    syntax.footer(notes);
    return {syntax, [arguments] { return runFibers(*arguments); }};
}

} // namespace zd::tool
