#include <vqf/commands/command.h>

#include <libdataio/imagereader.h>
#include <movietools/frames/frameintervals.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/job/progress.h>
#include <movietools/job/timetext.h>
#include <movietools/movie/movieedit.h>
#include <movietools/movie/movieindex.h>
#include <vqf/arguments/framechoice.h>
#include <vqf/console/framestatistics.h>
#include <vqf/console/interruption.h>
#include <vqf/console/table.h>

#include <memory>
#include <vector>

namespace zd::tool {

namespace {

constexpr const char* notes = R"(
Offset is where the frame's chunk begins in the file, bytes the length of its pixels; both come from the movie's
index. Times are UTC in the table and seconds since 1970 for programs; elapsed counts from the first frame.
What a movie does not tell is "-" in the table, empty in csv and null in json.

With --gaps an interval of more than one and a half times the median counts as dropped frames; the exit code is 3 when
there is one, or time runs back.

Examples:
  vqf frames cells.vqf
  vqf frames cells.vqf --time 0s:2s
  vqf frames cells.vqf --stats
  vqf frames cells.vqf --gaps --json
  vqf frames cells.vqf --format csv > frames.csv)";

struct FramesArguments {
    std::string movie;
    bool stats = false;
    bool gaps = false;
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
        movietools::refuse(path, problem, {});
    return frames;
}

void printFrames(FrameRows& rows, const std::vector<unsigned>& frames, const QString& path, TableFormat format)
{
    TablePrinter table(format, QStringLiteral("vqf.frames"), {{QStringLiteral("movie"), path}},
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
}

// The times of the chosen frames, as far as they have some.
std::vector<timeval> timesOf(const FrameRows& rows, const std::vector<unsigned>& frames)
{
    std::vector<timeval> times;
    for (const unsigned frame : frames)
        if (frame < rows.times().size())
            times.push_back(rows.times()[frame]);
    return times;
}

ExitCode printGaps(const FrameRows& rows, const std::vector<unsigned>& frames, const QString& path, TableFormat format)
{
    const movietools::FrameIntervals intervals = movietools::frameIntervals(timesOf(rows, frames));
    TablePrinter table(format, QStringLiteral("vqf.gaps"), {{QStringLiteral("movie"), path}}, QStringLiteral("gaps"),
                       {{"frame", "frame", 6},
                        {"time", "time", -27},
                        {"interval", "interval s", 13},
                        {"dropped", "dropped", 9},
                        {"runs_back", "", 0}});
    for (const movietools::IrregularInterval& place : intervals.irregular) {
        const timeval& time = rows.times()[frames[place.frame]];
        Cell stamp = Cell::seconds(movietools::microseconds(time));
        stamp.text = movietools::utcText(time);
        const bool runsBack = place.interval < 0;
        table.row({Cell::number(frames[place.frame]), stamp, Cell::seconds(place.interval),
                   Cell::number(static_cast<std::int64_t>(place.dropped)),
                   Cell{runsBack, runsBack ? QStringLiteral("true") : QStringLiteral("false"),
                        runsBack ? QStringLiteral("runs back") : QString()}});
    }
    table.finish();
    return intervals.irregular.empty() ? ExitCode::Done : ExitCode::SomethingLost;
}

ExitCode runFrames(const FramesArguments& arguments)
{
    const QString path = QString::fromStdString(arguments.movie);
    const movietools::FrameSelection selection = arguments.frames.selection();
    FrameRows rows(path);
    const std::vector<unsigned> frames = chosenFrames(rows, selection, path);
    const TableFormat format = arguments.format.value();
    if (arguments.gaps)
        return printGaps(rows, frames, path, format);
    if (arguments.stats)
        printFrameStatistics(movietools::frameIntervals(timesOf(rows, frames)), frames.size(), path, format);
    else
        printFrames(rows, frames, path, format);
    return ExitCode::Done;
}

} // namespace

Command addFramesCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("frames", "List the frames of a movie");
    auto arguments = std::make_shared<FramesArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to read").required();
    const Option stats = syntax.flag("--stats", arguments->stats, "How regularly frames follow each other, instead");
    syntax.flag("--gaps", arguments->gaps, "Only where frames were dropped or time runs back").excludes(stats);
    arguments->frames.addTo(syntax);
    arguments->format.addTo(syntax);
    syntax.footer(notes);
    return {syntax, [arguments] { return runFrames(*arguments); }};
}

} // namespace zd::tool
