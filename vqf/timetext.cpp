#include <vqf/timetext.h>

#include <movietools/framevalues.h>

#include <QDateTime>

namespace zd::tool {

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

QString utcText(const timeval& time)
{
    const Split parts = split(movietools::microseconds(time));
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
        return movietools::timeAfter({}, seconds);
    const QDateTime date = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!date.isValid())
        return std::nullopt;
    return movietools::timeAfter({}, static_cast<double>(date.toMSecsSinceEpoch()) / 1e3);
}

} // namespace zd::tool
