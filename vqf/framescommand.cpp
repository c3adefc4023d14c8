#include <vqf/command.h>

#include <libdataio/imagereader.h>
#include <movietools/framevalues.h>
#include <movietools/joberror.h>
#include <movietools/movieedit.h>
#include <movietools/movieindex.h>
#include <movietools/progress.h>
#include <movietools/timetext.h>
#include <vqf/framechoice.h>
#include <vqf/interruption.h>
#include <vqf/table.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Offset is where the frame's chunk begins in the file, bytes the length of its pixels; both come from the movie's
index. Times are UTC in the table and seconds since 1970 for programs; elapsed counts from the first frame.
What a movie does not tell is "-" in the table, empty in csv and null in json.

Examples:
  vqf frames cells.vqf
  vqf frames cells.vqf --time 0s:2s
  vqf frames cells.vqf --format csv > frames.csv)";

struct FramesArguments {
    std::string movie;
    FrameChoice frames;
    TableFormatArgument format;
};

/// The rows of one movie, made one at a time.
class FrameRows {
public:
    explicit FrameRows(const QString& path)
    {
        movietools::openMovie(m_movie, path);
        m_records = movietools::recordsOf(movietools::readMovieInfo(path), ZD_FRAME_CHUNK);
    }

    const FrameTimer& times() const { return m_movie.getFrameTimer(); }
    unsigned size() const { return static_cast<unsigned>(m_records.size()); }

    std::vector<Cell> row(unsigned frame)
    {
        std::vector<Cell> cells{Cell::number(frame), Cell::number(m_records[frame].offset),
                                Cell::number(m_records[frame].length)};
        timeval time;
        if (m_movie.getFrameTiming(frame, time)) {
            const std::int64_t stamp = movietools::microseconds(time);
            cells.push_back(Cell::seconds(stamp));
            cells.back().text = movietools::utcText(time);
            cells.push_back(Cell::seconds(stamp - movietools::microseconds(times().front())));
        } else {
            cells.insert(cells.end(), 2, Cell::unknown());
        }
        float power = 0;
        cells.push_back(m_movie.getLaserPower(frame, power) ? Cell{double{power}, QString::number(power),
                                                                   QStringLiteral("%1 %").arg(100.0 * power, 0, 'f', 1)}
                                                            : Cell::unknown());
        return cells;
    }

private:
    ImageReader m_movie;
    std::vector<ChunkRecord> m_records;
};

// The frames to list; a movie without frames has an empty table.
std::vector<unsigned> chosenFrames(const FrameRows& rows, const movietools::FrameSelection& selection,
                                   const QString& path)
{
    QString problem;
    const std::vector<unsigned> frames = selection.resolve(rows.size(), rows.times(), problem);
    if (frames.empty() && !selection.isEverything())
        throw movietools::JobError{path, problem, {}, {}};
    return frames;
}

ExitCode runFrames(const FramesArguments& arguments)
{
    const QString path = QString::fromStdString(arguments.movie);
    const movietools::FrameSelection selection = arguments.frames.selection();
    FrameRows rows(path);
    const std::vector<unsigned> frames = chosenFrames(rows, selection, path);
    TablePrinter table(arguments.format.value(), QStringLiteral("vqf.frames"), {{QStringLiteral("movie"), path}},
                       QStringLiteral("frames"),
                       {{"frame", "frame", 6},
                        {"offset", "offset", 10},
                        {"bytes", "bytes", 8},
                        {"time", "time", -27},
                        {"elapsed", "elapsed s", 13},
                        {"laser_power", "laser", 7}});
    for (const unsigned frame : frames) {
        if (interruption() != 0)
            throw movietools::JobCancelled{};
        table.row(rows.row(frame));
    }
    table.finish();
    return ExitCode::Done;
}

} // namespace

Command addFramesCommand(CLI::App& program)
{
    CLI::App* app = program.add_subcommand("frames", "List the frames of a movie");
    auto arguments = std::make_shared<FramesArguments>();
    app->add_option("MOVIE", arguments->movie, "The movie to read")->required();
    arguments->frames.addTo(*app);
    arguments->format.addTo(*app);
    app->footer(notes);
    return {app, [arguments] { return runFrames(*arguments); }};
}

} // namespace zd::tool
