#include <vqf/command.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/joberror.h>
#include <movietools/movieedit.h>
#include <vqf/console.h>

#include <QJsonArray>
#include <QJsonObject>

#include <memory>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Modes: stored keeps all fibres where they are, clamped moves them into the frame, bundle keeps those inside the
frame and the outline of the bundle.
Forms: raster is column and row in pixels, index the same rounded to whole pixels, offset the pixel's number in the
frame (row x width + column), world has y upwards and the longer side of the frame from 0 to 1.

Examples:
  vqf fibers cells.vqf > fibers.csv
  vqf fibers cells.vqf --mode bundle --sorted --form world --format json)";

struct FibersArguments {
    std::string movie;
    std::string mode = "stored";
    bool sorted = false;
    std::string form = "raster";
    std::string format = "csv";
};

/// Values of the fibres, `columns.size()` each.
struct Table {
    QStringList columns;
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
Table tableOf(const QStringList& columns, const std::vector<T>& values)
{
    return {columns, std::vector<double>(values.begin(), values.end())};
}

Table query(ImageReader& movie, const FibersArguments& arguments)
{
    const ImageReader::FiberFilteringMode mode = modeOf(arguments);
    std::vector<float> positions;
    std::vector<unsigned int> numbers;
    if (arguments.form == "index") {
        movie.getRasterFiberIndexes(numbers, mode);
        return tableOf({QStringLiteral("column"), QStringLiteral("row")}, numbers);
    }
    if (arguments.form == "offset") {
        movie.getFiberOffsets(numbers, mode);
        return tableOf({QStringLiteral("offset")}, numbers);
    }
    if (arguments.form == "world")
        movie.getWorldFiberCenters(positions, mode);
    else
        movie.getRasterFiberContinuousIndexes(positions, mode);
    return tableOf({QStringLiteral("x"), QStringLiteral("y")}, positions);
}

void printCsv(const Table& table)
{
    constexpr int digits = 9; // tell every float from its neighbours
    print(table.columns.join(QLatin1Char(',')) + QLatin1Char('\n'));
    const std::size_t width = static_cast<std::size_t>(table.columns.size());
    for (std::size_t i = 0; i < table.values.size(); ++i)
        print(QString::number(table.values[i], 'g', digits) + QLatin1Char((i + 1) % width == 0 ? '\n' : ','));
}

void printTable(const FibersArguments& arguments, const Table& table)
{
    QJsonArray values;
    for (const double value : table.values)
        values.append(value);
    printJson(QStringLiteral("vqf.fibers"), 1,
              {{QStringLiteral("movie"), QString::fromStdString(arguments.movie)},
               {QStringLiteral("mode"), QString::fromStdString(arguments.mode)},
               {QStringLiteral("sorted"), arguments.sorted},
               {QStringLiteral("form"), QString::fromStdString(arguments.form)},
               {QStringLiteral("columns"), QJsonArray::fromStringList(table.columns)},
               {QStringLiteral("count"), static_cast<qint64>(table.values.size()) / table.columns.size()},
               {QStringLiteral("values"), values}});
}

ExitCode runFibers(const FibersArguments& arguments)
{
    const QString path = QString::fromStdString(arguments.movie);
    ImageReader movie;
    movietools::openMovie(movie, path);
    Table table;
    try {
        table = query(movie, arguments);
    } catch (const IOFileException& report) {
        throw movietools::jobError(report, path);
    }
    if (arguments.format == "json")
        printTable(arguments, table);
    else
        printCsv(table);
    return ExitCode::Done;
}

} // namespace

Command addFibersCommand(CLI::App& program)
{
    CLI::App* app = program.add_subcommand("fibers", "List the positions of the fibres");
    auto arguments = std::make_shared<FibersArguments>();
    app->add_option("MOVIE", arguments->movie, "The movie to read")->required();
    app->add_option("--mode", arguments->mode, "stored, clamped or bundle")
        ->check(CLI::IsMember({"stored", "clamped", "bundle"}))
        ->type_name("MODE")
        ->capture_default_str();
    app->add_flag("--sorted", arguments->sorted, "Row by row, instead of in the order of the file");
    app->add_option("--form", arguments->form, "raster, index, offset or world")
        ->check(CLI::IsMember({"raster", "index", "offset", "world"}))
        ->type_name("FORM")
        ->capture_default_str();
    app->add_option("--format", arguments->format, "csv or json")
        ->check(CLI::IsMember({"csv", "json"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    app->footer(notes);
    return {app, [arguments] { return runFibers(*arguments); }};
}

} // namespace zd::tool
