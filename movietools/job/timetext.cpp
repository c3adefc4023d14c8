#include <movietools/job/timetext.h>

#include <movietools/job/framevalues.h>

#include <QDateTime>
#include <QRegularExpression>

#include <cmath>

namespace zd::movietools {

namespace {

constexpr std::int64_t microsecondsPerSecond = 1'000'000;

struct Split {
    std::int64_t seconds;
    std::int64_t microseconds; // 0 to 999999
};

Split split(std::int64_t microseconds)
{
    std::int64_t seconds = microseconds / microsecondsPerSecond;
    std::int64_t rest = microseconds % microsecondsPerSecond;
    if (rest < 0) {
        rest += microsecondsPerSecond;
        --seconds;
    }
    return {seconds, rest};
}

QString sixDigits(std::int64_t value)
{
    return QStringLiteral("%1").arg(value, 6, 10, QLatin1Char('0'));
}

} // namespace

std::optional<timeval> timeOfMicroseconds(std::int64_t microseconds)
{
    const Split parts = split(microseconds);
    if (parts.seconds < INT32_MIN || parts.seconds > INT32_MAX)
        return std::nullopt;
    return timeval{static_cast<std::int32_t>(parts.seconds), static_cast<std::int32_t>(parts.microseconds)};
}

QString utcText(const timeval& time)
{
    const Split parts = split(microseconds(time));
    const QDateTime date = QDateTime::fromSecsSinceEpoch(parts.seconds, Qt::UTC);
    return date.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('.') + sixDigits(parts.microseconds) +
           QLatin1Char('Z');
}

QString secondsText(std::int64_t microseconds)
{
    const Split parts = split(microseconds < 0 ? -microseconds : microseconds);
    const QString text = QStringLiteral("%1.%2").arg(parts.seconds).arg(sixDigits(parts.microseconds));
    return microseconds < 0 ? QLatin1Char('-') + text : text;
}

std::optional<timeval> parseTime(const QString& text)
{
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    if (isNumber)
        return timeAfter({}, seconds);
    // Qt knows thousandths of a second at best.
    static const QRegularExpression fraction(QStringLiteral("(?<=:\\d\\d)[.,](\\d{1,9})"));
    const QString digits = fraction.match(text).captured(1);
    const QDateTime date = QDateTime::fromString(QString(text).remove(fraction), Qt::ISODate);
    if (!date.isValid())
        return std::nullopt;
    const double rest = digits.isEmpty() ? 0 : (QStringLiteral("0.") + digits).toDouble();
    return timeOfMicroseconds(date.toSecsSinceEpoch() * microsecondsPerSecond + std::llround(rest * 1e6));
}

std::optional<std::int64_t> parseDuration(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^(-?[0-9.]+)(us|ms|s|min|h|)$"));
    const QRegularExpressionMatch match = form.match(text);
    bool isNumber = false;
    double value = match.captured(1).toDouble(&isNumber);
    if (!isNumber)
        return std::nullopt;
    const QString unit = match.captured(2);
    if (unit == QLatin1StringView("ms"))
        value *= 1e3;
    else if (unit == QLatin1StringView("min"))
        value *= 60e6;
    else if (unit == QLatin1StringView("h"))
        value *= 3600e6;
    else if (unit != QLatin1StringView("us"))
        value *= 1e6;
    return std::fabs(value) < 3e16 ? std::optional<std::int64_t>(std::llround(value)) : std::nullopt;
}

} // namespace zd::movietools
