#include <movietools/job/framevalues.h>

#include <movietools/job/joberror.h>

#include <QFile>

#include <cerrno>
#include <cmath>

namespace zd::movietools {

namespace {

constexpr qint64 longestLine = 4096;

[[noreturn]] void refuseLine(const QString& path, std::uint64_t line, const QString& why, const QString& advice)
{
    refuse(path, QStringLiteral("line %1 %2").arg(line).arg(why), advice);
}

// Calls take(value, line) for each number in the file.
template <typename Take>
void forEachNumber(const QString& path, Take take)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        refuse(path, QStringLiteral("cannot be read: %1").arg(file.errorString()), QStringLiteral("check the name"));
    bool isEmpty = true;
    for (std::uint64_t line = 1; !file.atEnd(); ++line) {
        const QByteArray text = file.readLine(longestLine).trimmed();
        if (text.isEmpty() || text.startsWith('#'))
            continue;
        bool isNumber = false;
        const double value = text.toDouble(&isNumber);
        if (!isNumber || !std::isfinite(value))
            refuseLine(path, line, QStringLiteral("is no number"), QStringLiteral("write one number in each line"));
        take(value, line);
        isEmpty = false;
    }
    if (file.error() != QFileDevice::NoError)
        refuse(path, QStringLiteral("cannot be read: %1").arg(file.errorString()), {});
    if (isEmpty)
        refuse(path, QStringLiteral("holds no numbers"), QStringLiteral("write one number in each line"));
}

} // namespace

std::int64_t microseconds(const timeval& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_usec;
}

std::optional<timeval> timeAfter(const timeval& start, double seconds)
{
    // Nanoseconds of sums stay far from the ends of 64 bits; toTimeval sorts out what no movie holds.
    if (!(std::fabs(seconds) < 5e9))
        return std::nullopt;
    const std::chrono::microseconds offset(std::llround(seconds * 1e6));
    const auto time = std::chrono::time_point_cast<std::chrono::microseconds>(toTimePoint(start)) + offset;
    timeval result;
    if (time.time_since_epoch().count() < 0 || !toTimeval(time, result))
        return std::nullopt;
    return result;
}

std::vector<timeval> readFrameTimes(const QString& path, const std::optional<timeval>& start)
{
    std::vector<timeval> times;
    forEachNumber(path, [&](double seconds, std::uint64_t line) {
        const std::optional<timeval> time = timeAfter(start.value_or(timeval{}), seconds);
        if (!time)
            refuseLine(path, line, QStringLiteral("is no time from 1970 to 2038"),
                       QStringLiteral("give seconds since 1970, or use --start for times that begin at 0"));
        if (!times.empty() && *time < times.back())
            refuseLine(path, line, QStringLiteral("runs back in time"),
                       QStringLiteral("movies keep their times in order: give times that do not decrease"));
        times.push_back(*time);
    });
    return times;
}

std::vector<float> readLaserPowers(const QString& path)
{
    std::vector<float> powers;
    forEachNumber(path, [&](double power, std::uint64_t line) {
        if (!isLaserPower(power))
            refuseLine(path, line, QStringLiteral("is above 1"),
                       QStringLiteral("give fractions of full power from 0 to 1, or -1 for not known"));
        powers.push_back(static_cast<float>(power));
    });
    return powers;
}

bool isLaserPower(double power)
{
    return power <= 1;
}

} // namespace zd::movietools
