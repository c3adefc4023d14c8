#include <vqf/commands/command.h>

#include <movietools/job/wording.h>
#include <movietools/movie/recordingwatch.h>
#include <vqf/console/console.h>
#include <vqf/console/interruption.h>
#include <vqf/console/settings.h>

#include <QJsonObject>

#include <chrono>
#include <cmath>
#include <deque>
#include <memory>

#include <poll.h>
#include <unistd.h>

namespace zd::tool {

namespace {

using movietools::RecordingState;

constexpr const char* notes = R"(
Tells now and then how many frames are there, how fast they come, and how much room is left: until the length that
movies end at (2.1 GB) and until the disk is full. Ends when the recording is closed, or on Ctrl-C. The recording is
not disturbed.

Examples:
  vqf follow cells.vqf
  vqf follow cells.vqf --interval 0.2 --json)";

constexpr double shortestInterval = 0.02; // seconds
constexpr double longestInterval = 3600;
constexpr std::size_t looksForRates = 6;

struct FollowArguments {
    std::string movie;
    double interval = 1;
    bool json = false;
};

/// How fast a recording grows, by the last few looks.
class Pace {
public:
    void add(const RecordingState& state)
    {
        m_looks.push_back({std::chrono::steady_clock::now(), state.frames, state.bytes});
        if (m_looks.size() > looksForRates)
            m_looks.pop_front();
    }

    double framesPerSecond() const { return perSecond(m_looks.front().frames, m_looks.back().frames); }
    double bytesPerSecond() const { return perSecond(m_looks.front().bytes, m_looks.back().bytes); }
    /// Seconds until so many bytes more are there; nothing when the file does not grow.
    std::optional<double> secondsFor(std::uint64_t bytes) const
    {
        const double pace = bytesPerSecond();
        return pace > 0 ? std::optional<double>(static_cast<double>(bytes) / pace) : std::nullopt;
    }

private:
    struct Look {
        std::chrono::steady_clock::time_point time;
        std::uint64_t frames;
        std::uint64_t bytes;
    };

    double perSecond(std::uint64_t from, std::uint64_t to) const
    {
        const double seconds = std::chrono::duration<double>(m_looks.back().time - m_looks.front().time).count();
        return seconds > 0 && to > from ? static_cast<double>(to - from) / seconds : 0;
    }

    std::deque<Look> m_looks;
};

QString clockText(const std::optional<double>& seconds)
{
    if (!seconds)
        return QStringLiteral("-");
    const auto whole = static_cast<std::int64_t>(std::min(*seconds, 1e9));
    return QStringLiteral("%1:%2:%3")
        .arg(whole / 3600)
        .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QString lineOf(const RecordingState& state, const Pace& pace)
{
    QString line = QStringLiteral("%1 frames  %2 frames/s  %3  %4 MB/s  left: %5 (limit)")
                       .arg(state.frames, 7)
                       .arg(pace.framesPerSecond(), 0, 'f', 1)
                       .arg(movietools::sizeText(state.bytes))
                       .arg(pace.bytesPerSecond() / 1e6, 0, 'f', 1)
                       .arg(clockText(pace.secondsFor(state.roomToLimit)));
    if (state.roomOnDisk)
        line += QStringLiteral(", %1 (disk)").arg(clockText(pace.secondsFor(*state.roomOnDisk)));
    return line;
}

QJsonObject json(const QString& path, const RecordingState& state, const Pace& pace)
{
    const auto number = [](std::uint64_t value) { return static_cast<qint64>(value); };
    const auto seconds = [&pace](const std::optional<std::uint64_t>& bytes) {
        const std::optional<double> left = bytes ? pace.secondsFor(*bytes) : std::nullopt;
        return left ? QJsonValue(*left) : QJsonValue();
    };
    return {
        {QStringLiteral("movie"), path},
        {QStringLiteral("frames"), number(state.frames)},
        {QStringLiteral("bytes"), number(state.bytes)},
        {QStringLiteral("frames_per_second"), pace.framesPerSecond()},
        {QStringLiteral("bytes_per_second"), pace.bytesPerSecond()},
        {QStringLiteral("limit_bytes_left"), number(state.roomToLimit)},
        {QStringLiteral("limit_seconds_left"), seconds(state.roomToLimit)},
        {QStringLiteral("disk_bytes_left"), state.roomOnDisk ? QJsonValue(number(*state.roomOnDisk)) : QJsonValue()},
        {QStringLiteral("disk_seconds_left"), seconds(state.roomOnDisk)},
        {QStringLiteral("closed"), state.isClosed}};
}

// One line after the other, or one that is renewed on a terminal.
void show(const QString& path, const RecordingState& state, const Pace& pace, bool asJson)
{
    static const bool onTerminal = ::isatty(STDOUT_FILENO) == 1;
    if (asJson)
        printJson(QStringLiteral("vqf.follow"), 1, json(path, state, pace));
    else if (onTerminal)
        print(QStringLiteral("\r%1\033[K").arg(lineOf(state, pace)) +
              (state.isClosed ? QStringLiteral("\n") : QString()));
    else
        print(lineOf(state, pace) + QLatin1Char('\n'));
}

ExitCode runFollow(const FollowArguments& arguments)
{
    const QString path = QString::fromStdString(arguments.movie);
    const bool asJson = arguments.json || settings().json;
    movietools::RecordingWatch watch(path);
    Pace pace;
    while (interruption() == 0) {
        const RecordingState state = watch.look();
        pace.add(state);
        show(path, state, pace, asJson);
        if (state.isClosed) {
            if (!asJson)
                tell(QStringLiteral("%1: closed with %2 frames").arg(escaped(path)).arg(state.frames));
            return ExitCode::Done;
        }
        if (!flushResults())
            return ExitCode::Failed;
        ::poll(nullptr, 0, static_cast<int>(arguments.interval * 1e3)); // a signal ends it early
    }
    return ExitCode::Interrupted;
}

} // namespace

Command addFollowCommand(const Syntax& program)
{
    const Syntax syntax = program.subcommand("follow", "Watch a movie while it is being recorded");
    auto arguments = std::make_shared<FollowArguments>();
    syntax.option("MOVIE", arguments->movie, "The movie to watch").required();
    syntax.option("--interval", arguments->interval, "Seconds between two looks")
        .within(shortestInterval, longestInterval)
        .typeName("SECONDS")
        .showsDefault();
    syntax.flag("--json", arguments->json, "One JSON object for each look, in one line");
    syntax.footer(notes);
    return {syntax, [arguments] { return runFollow(*arguments); }};
}

} // namespace zd::tool
