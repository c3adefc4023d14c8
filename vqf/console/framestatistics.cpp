#include <vqf/console/framestatistics.h>

#include <vqf/console/console.h>

namespace zd::tool {

namespace {

using movietools::FrameIntervals;

QString milliseconds(double microseconds)
{
    return QString::number(microseconds / 1e3, 'f', 3);
}

double rate(const FrameIntervals& intervals)
{
    return intervals.mean > 0 ? 1e6 / intervals.mean : 0;
}

void printForPeople(const FrameIntervals& intervals, std::size_t frames, const QString& movie)
{
    print(QStringLiteral("%1\n  frames        %2\n").arg(escaped(movie)).arg(frames));
    if (intervals.count == 0) {
        print(QStringLiteral("  intervals     not known\n"));
        return;
    }
    print(QStringLiteral("  intervals     %1, %2 frames/s\n").arg(intervals.count).arg(rate(intervals), 0, 'f', 3));
    print(QStringLiteral("  median        %1 ms\n").arg(milliseconds(intervals.median)));
    print(QStringLiteral("  mean          %1 ms, deviation %2 ms\n")
              .arg(milliseconds(intervals.mean), milliseconds(intervals.deviation)));
    print(QStringLiteral("  range         %1 to %2 ms\n")
              .arg(milliseconds(static_cast<double>(intervals.shortest)),
                   milliseconds(static_cast<double>(intervals.longest))));
    print(QStringLiteral("  dropped       %1 frames\n").arg(intervals.dropped()));
    print(QStringLiteral("  runs back     %1 times\n").arg(intervals.runningBack()));
}

} // namespace

void printFrameStatistics(const FrameIntervals& intervals, std::size_t frames, const QString& movie, TableFormat format)
{
    if (format == TableFormat::Table) {
        printForPeople(intervals, frames, movie);
        return;
    }
    // One row; in seconds, as all times for programs.
    const auto seconds = [&intervals](double microseconds) {
        if (intervals.count == 0)
            return Cell::unknown();
        const QString text = QString::number(microseconds / 1e6, 'f', 9);
        return Cell{microseconds / 1e6, text, text};
    };
    const auto count = [](std::uint64_t value) { return Cell::number(static_cast<std::int64_t>(value)); };
    TablePrinter table(format, QStringLiteral("vqf.intervals"), {{QStringLiteral("movie"), movie}},
                       QStringLiteral("statistics"),
                       {{"frames", "", 0},
                        {"intervals", "", 0},
                        {"median", "", 0},
                        {"mean", "", 0},
                        {"deviation", "", 0},
                        {"shortest", "", 0},
                        {"longest", "", 0},
                        {"dropped", "", 0},
                        {"runs_back", "", 0}});
    table.row({count(frames), count(intervals.count), seconds(intervals.median), seconds(intervals.mean),
               seconds(intervals.deviation), seconds(static_cast<double>(intervals.shortest)),
               seconds(static_cast<double>(intervals.longest)), count(intervals.dropped()),
               count(intervals.runningBack())});
    table.finish();
}

} // namespace zd::tool
