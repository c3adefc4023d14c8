#include <vqf/arguments/moviefields.h>

#include <movietools/job/timetext.h>
#include <vqf/arguments/usageerror.h>
#include <vqf/console/console.h>

#include <QJsonArray>
#include <QRegularExpression>

namespace zd::tool {

namespace {

using movietools::MovieSummary;

struct ShortForm {
    const char* name;
    const char* field;
};
constexpr ShortForm shortForms[] = {{"name", "path"},
                                    {"size", "bytes"},
                                    {"type", "pixel_type"},
                                    {"rate", "frames_per_second"},
                                    {"duration", "duration_seconds"},
                                    {"recorded", "first_time"}};

QString typeName(ZDImagePixelType type)
{
    QString name;
    PixelTypeToQstring(type, name);
    return name;
}

template <typename Value>
QJsonValue orNull(const std::optional<Value>& value)
{
    return value ? QJsonValue(*value) : QJsonValue();
}

QJsonValue timeOrNull(const std::optional<timeval>& time)
{
    return time ? QJsonValue(movietools::utcText(*time)) : QJsonValue();
}

QJsonValue textOrNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonValue laserPowerJson(const MovieSummary& movie)
{
    if (movie.knownLaserPowers == 0)
        return {};
    return QJsonObject{{QStringLiteral("frames"), static_cast<qint64>(movie.knownLaserPowers)},
                       {QStringLiteral("minimum"), double{movie.lowestLaserPower}},
                       {QStringLiteral("maximum"), double{movie.highestLaserPower}}};
}

QJsonValue paletteJson(const MovieSummary& movie)
{
    if (!movie.palette)
        return {};
    return QJsonObject{{QStringLiteral("name"), movie.palette->name},
                       {QStringLiteral("crop_minimum"), movie.palette->cropMin},
                       {QStringLiteral("crop_maximum"), movie.palette->cropMax},
                       {QStringLiteral("colors"), movie.palette->nodes}};
}

QJsonValue boundingBoxJson(const MovieSummary& movie)
{
    if (movie.boundingBox.empty())
        return {};
    QJsonArray box;
    for (const float side : movie.boundingBox)
        box.append(double{side});
    return box;
}

} // namespace

QJsonObject summaryJson(const MovieSummary& movie)
{
    QJsonObject attributes;
    for (const auto& [name, value] : movie.attributes)
        attributes.insert(name, value);
    return {{QStringLiteral("path"), movie.path},
            {QStringLiteral("bytes"), static_cast<qint64>(movie.bytes)},
            {QStringLiteral("frames"), static_cast<qint64>(movie.frames)},
            {QStringLiteral("width"), orNull(movie.width)},
            {QStringLiteral("height"), orNull(movie.height)},
            {QStringLiteral("pixel_type"), textOrNull(typeName(movie.type))},
            {QStringLiteral("pixel_bits"), orNull(movie.bits)},
            {QStringLiteral("times"), static_cast<qint64>(movie.times)},
            {QStringLiteral("first_time"), timeOrNull(movie.firstTime)},
            {QStringLiteral("last_time"), timeOrNull(movie.lastTime)},
            {QStringLiteral("duration_seconds"), orNull(movie.duration())},
            {QStringLiteral("frames_per_second"), orNull(movie.frameRate())},
            {QStringLiteral("frame_delay"), orNull(movie.frameDelay)},
            {QStringLiteral("laser_power"), laserPowerJson(movie)},
            {QStringLiteral("fibers"), static_cast<qint64>(movie.fibers)},
            {QStringLiteral("bounding_box"), boundingBoxJson(movie)},
            {QStringLiteral("palette"), paletteJson(movie)},
            {QStringLiteral("data_type"), movie.dataType},
            {QStringLiteral("comment"), textOrNull(movie.comment)},
            {QStringLiteral("specific_comment"), textOrNull(movie.specificComment)},
            {QStringLiteral("attributes"), attributes}};
}

QString fieldName(const std::string& name)
{
    QString full = QString::fromStdString(name);
    for (const ShortForm& form : shortForms)
        if (full == QLatin1StringView(form.name))
            full = QLatin1StringView(form.field);
    const QJsonObject fields = summaryJson({});
    if (!fields.contains(full.section(QLatin1Char('.'), 0, 0)))
        throw UsageError{name + ": no such field; there are " + fields.keys().join(QStringLiteral(", ")).toStdString()};
    return full;
}

QJsonValue fieldOf(const QJsonObject& movie, const QString& name)
{
    const qsizetype dot = name.indexOf(QLatin1Char('.'));
    const QJsonValue value = movie.value(dot < 0 ? name : name.left(dot));
    if (dot >= 0)
        return value.toObject().value(name.mid(dot + 1));
    return value;
}

QString fieldText(const QJsonValue& value)
{
    constexpr int digits = 15; // of numbers that may be long whole ones
    if (value.isDouble())
        return QString::number(value.toDouble(), 'g', digits);
    if (value.isObject())
        return jsonText(value.toObject());
    if (!value.isArray())
        return escaped(value.toString());
    QStringList values;
    for (const QJsonValue& member : value.toArray())
        values.append(fieldText(member));
    return values.join(QLatin1Char(' '));
}

bool comesBefore(const QJsonValue& a, const QJsonValue& b)
{
    if (a.isDouble() && b.isDouble())
        return a.toDouble() < b.toDouble();
    if (a.isString() && b.isString())
        return a.toString() < b.toString();
    const auto rank = [](const QJsonValue& value) { return value.isDouble() ? 0 : value.isString() ? 1 : 2; };
    return rank(a) < rank(b);
}

MovieCondition::MovieCondition(const std::string& text)
{
    static const QRegularExpression form(QStringLiteral("^\\s*([\\w.]+)\\s*(<=|>=|!=|=|<|>|~)\\s*(.*)$"));
    const QRegularExpressionMatch match = form.match(QString::fromStdString(text));
    if (!match.hasMatch())
        throw UsageError{text + ": write a condition like \"frames>100\" or \"comment~lobe\""};
    m_field = fieldName(match.captured(1).toStdString());
    m_relation = match.captured(2);
    m_value = match.captured(3);
}

bool MovieCondition::holds(const QJsonObject& movie) const
{
    const QJsonValue value = fieldOf(movie, m_field);
    if (m_relation == QLatin1StringView("~"))
        return fieldText(value).contains(m_value, Qt::CaseInsensitive);
    bool isNumber = false;
    const double number = m_value.toDouble(&isNumber);
    // Attributes are texts, whatever they mean.
    bool isNumeric = value.isDouble();
    const double own = isNumeric ? value.toDouble() : value.toString().toDouble(&isNumeric);
    const QJsonValue wanted = isNumber && isNumeric ? QJsonValue(number) : QJsonValue(m_value);
    const QJsonValue found = isNumber && isNumeric ? QJsonValue(own) : value;
    if (m_relation == QLatin1StringView("="))
        return found == wanted;
    if (m_relation == QLatin1StringView("!="))
        return found != wanted;
    if (found.type() != wanted.type())
        return false;
    const bool isLess = comesBefore(found, wanted);
    const bool isMore = comesBefore(wanted, found);
    if (m_relation == QLatin1StringView("<"))
        return isLess;
    if (m_relation == QLatin1StringView("<="))
        return !isMore;
    return m_relation == QLatin1StringView(">") ? isMore : !isLess;
}

} // namespace zd::tool
