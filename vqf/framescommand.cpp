#include <vqf/command.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/joberror.h>
#include <movietools/movieindex.h>
#include <movietools/progress.h>
#include <vqf/console.h>
#include <vqf/interruption.h>
#include <vqf/timetext.h>

#include <QJsonObject>

#include <memory>
#include <optional>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Offset is where the frame's chunk begins in the file, bytes the length of its pixels; both come from the movie's
index. Times are UTC in the table and seconds since 1970 in csv and json; elapsed counts from the first frame.
What a movie does not tell is "-" in the table, empty in csv and null in json.

Examples:
  vqf frames cells.vqf
  vqf frames cells.vqf --format csv > frames.csv)";

struct FramesArguments {
    std::string movie;
    std::string format = "table";
};

struct Row {
    std::size_t frame;
    std::uint32_t offset;
    std::uint32_t bytes;
    std::optional<std::int64_t> time;    // microseconds since 1970
    std::optional<std::int64_t> elapsed; // microseconds since the first frame
    std::optional<float> laserPower;
    std::optional<timeval> stored;
};

/// The rows of one movie, made one at a time.
class FrameTable {
public:
    explicit FrameTable(const QString& path) : m_path(path)
    {
        try {
            m_movie.open(path);
        } catch (const IOFileException& report) {
            throw movietools::jobError(report, path);
        }
        m_records = movietools::recordsOf(movietools::readMovieInfo(path), ZD_FRAME_CHUNK);
    }

    const QString& path() const { return m_path; }
    std::size_t size() const { return m_records.size(); }

    Row row(std::size_t frame)
    {
        Row row{frame, m_records[frame].offset, m_records[frame].length, {}, {}, {}, {}};
        const auto index = static_cast<unsigned>(frame);
        timeval time;
        if (m_movie.getFrameTiming(index, time)) {
            row.stored = time;
            row.time = microseconds(time);
            row.elapsed = *row.time - microseconds(m_movie.getFrameTimer().front());
        }
        float power = 0;
        if (m_movie.getLaserPower(index, power))
            row.laserPower = power;
        return row;
    }

private:
    QString m_path;
    ImageReader m_movie;
    std::vector<ChunkRecord> m_records;
};

template <typename PrintRow>
void printRows(FrameTable& table, PrintRow printRow)
{
    for (std::size_t frame = 0; frame < table.size(); ++frame) {
        if (interruption() != 0)
            throw movietools::JobCancelled{};
        printRow(table.row(frame));
    }
}

void printLine(const QString& frame, const QString& offset, const QString& bytes, const QString& time,
               const QString& elapsed, const QString& laser)
{
    print(QStringLiteral("%1 %2 %3  %4 %5 %6\n")
              .arg(frame, 6)
              .arg(offset, 10)
              .arg(bytes, 8)
              .arg(time, -27)
              .arg(elapsed, 13)
              .arg(laser, 7));
}

void printTable(FrameTable& table)
{
    const QString none = QStringLiteral("-");
    printLine(QStringLiteral("frame"), QStringLiteral("offset"), QStringLiteral("bytes"), QStringLiteral("time"),
              QStringLiteral("elapsed s"), QStringLiteral("laser"));
    printRows(table, [&](const Row& row) {
        printLine(QString::number(row.frame), QString::number(row.offset), QString::number(row.bytes),
                  row.stored ? utcText(*row.stored) : none, row.elapsed ? secondsText(*row.elapsed) : none,
                  row.laserPower ? QStringLiteral("%1 %").arg(100.0 * *row.laserPower, 0, 'f', 1) : none);
    });
}

void printCsv(FrameTable& table)
{
    print(QStringLiteral("frame,offset,bytes,time,elapsed,laser_power\n"));
    printRows(table, [](const Row& row) {
        print(QStringLiteral("%1,%2,%3,%4,%5,%6\n")
                  .arg(row.frame)
                  .arg(row.offset)
                  .arg(row.bytes)
                  .arg(row.time ? secondsText(*row.time) : QString(),
                       row.elapsed ? secondsText(*row.elapsed) : QString(),
                       row.laserPower ? QString::number(*row.laserPower) : QString()));
    });
}

QJsonValue secondsOrNull(const std::optional<std::int64_t>& microseconds)
{
    return microseconds ? QJsonValue(static_cast<double>(*microseconds) / 1e6) : QJsonValue();
}

// Row by row, so that a long movie takes no more memory than a short one.
void printJsonTable(FrameTable& table)
{
    const QString path = jsonText({{QStringLiteral("movie"), table.path()}}).mid(1).chopped(1);
    print(QStringLiteral("{\"schema\":\"vqf.frames\",\"version\":1,") + path + QStringLiteral(",\"frames\":["));
    QString separator = QStringLiteral("\n");
    printRows(table, [&](const Row& row) {
        const QJsonObject object{
            {QStringLiteral("frame"), static_cast<qint64>(row.frame)},
            {QStringLiteral("offset"), static_cast<qint64>(row.offset)},
            {QStringLiteral("bytes"), static_cast<qint64>(row.bytes)},
            {QStringLiteral("time"), secondsOrNull(row.time)},
            {QStringLiteral("elapsed"), secondsOrNull(row.elapsed)},
            {QStringLiteral("laser_power"), row.laserPower ? QJsonValue(double{*row.laserPower}) : QJsonValue()}};
        print(separator + jsonText(object));
        separator = QStringLiteral(",\n");
    });
    print(QStringLiteral("\n]}\n"));
}

ExitCode runFrames(const FramesArguments& arguments)
{
    FrameTable table(QString::fromStdString(arguments.movie));
    if (arguments.format == "csv")
        printCsv(table);
    else if (arguments.format == "json")
        printJsonTable(table);
    else
        printTable(table);
    return ExitCode::Done;
}

} // namespace

Command addFramesCommand(CLI::App& program)
{
    CLI::App* app = program.add_subcommand("frames", "List the frames of a movie");
    auto arguments = std::make_shared<FramesArguments>();
    app->add_option("MOVIE", arguments->movie, "The movie to read")->required();
    app->add_option("--format", arguments->format, "table, csv or json")
        ->check(CLI::IsMember({"table", "csv", "json"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    app->footer(notes);
    return {app, [arguments] { return runFrames(*arguments); }};
}

} // namespace zd::tool
