#include <movietools/exchange/sidecar_p.h>

#include <movietools/files/bytesource.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/job/timetext.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cerrno>
#include <cmath>

#include <sys/stat.h>

namespace zd::movietools {

namespace {

const QString schemaName = QStringLiteral("vqf.pixels");
constexpr int schemaVersion = 1;

QJsonArray timesArray(const std::vector<std::optional<timeval>>& times)
{
    QJsonArray array;
    for (const std::optional<timeval>& time : times)
        array.append(time ? QJsonValue(static_cast<double>(microseconds(*time)) / 1e6) : QJsonValue());
    return array;
}

QJsonArray powersArray(const std::vector<float>& powers)
{
    QJsonArray array;
    for (const float power : powers)
        array.append(power >= 0 ? QJsonValue(double{power}) : QJsonValue());
    return array;
}

QJsonArray floatArray(const std::vector<float>& values)
{
    QJsonArray array;
    for (const float value : values)
        array.append(double{value});
    return array;
}

QJsonObject attributesObject(const AttributeChunk& attributes)
{
    QJsonObject object;
    for (const auto& [name, value] : attributes.attributes())
        object.insert(name, value.text());
    return object;
}

/// All of a file; empty when there is none, which no other failure passes for.
QByteArray fileText(const QString& path)
{
    struct stat status {};
    if (::stat(path.toUtf8().constData(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return {};
        throw systemError(path, QStringLiteral("read"), errno);
    }
    const FileBytes file(path);
    const QByteArray text = file.bytes(0, file.length());
    if (text.size() != file.length())
        refuse(path, QStringLiteral("changed while it was read"), QStringLiteral("try again"));
    return text;
}

/// Takes a sidecar out of its JSON object.
class SidecarReader {
public:
    SidecarReader(const QString& path, const QJsonObject& object) : m_path(path), m_object(object) {}

    Sidecar read() const;

private:
    void readFormat(Sidecar& sidecar) const;
    void readDescription(MovieDescription& description, unsigned frames) const;
    void readAttributes(AttributeChunk& attributes) const;
    std::uint64_t number(const QString& name, std::uint64_t otherwise, std::uint64_t largest) const;
    QJsonArray list(const QString& name) const;
    QJsonArray perFrame(const QString& name, unsigned frames) const;
    [[noreturn]] void refuseSidecar(const QString& problem) const;

    const QString& m_path;
    const QJsonObject& m_object;
};

Sidecar SidecarReader::read() const
{
    if (m_object.value(QStringLiteral("version")).toInt() > schemaVersion)
        refuseSidecar(QStringLiteral("is of a later version of this program"));
    Sidecar sidecar;
    readFormat(sidecar);
    sidecar.checksum = m_object.value(QStringLiteral("checksum")).toString();
    readDescription(sidecar.description, sidecar.frames);
    return sidecar;
}

void SidecarReader::readFormat(Sidecar& sidecar) const
{
    const std::optional<ExchangeForm> form = formNamed(m_object.value(QStringLiteral("form")).toString());
    if (!form)
        refuseSidecar(QStringLiteral("does not say of what form the pixels are"));
    sidecar.form = *form;
    sidecar.file = m_object.value(QStringLiteral("file")).toString();
    sidecar.format.width = static_cast<std::uint32_t>(number(QStringLiteral("width"), 0, INT32_MAX));
    sidecar.format.height = static_cast<std::uint32_t>(number(QStringLiteral("height"), 0, INT32_MAX));
    sidecar.format.type = sampleTypeNamed(m_object.value(QStringLiteral("type")).toString());
    sidecar.frames = static_cast<unsigned>(number(QStringLiteral("frames"), 0, INT32_MAX));
    sidecar.offset = number(QStringLiteral("offset"), 0, std::uint64_t{1} << 53U);
    sidecar.zero = static_cast<std::uint32_t>(number(QStringLiteral("zero"), 0, 32768));
    sidecar.framesPerSecond = m_object.value(QStringLiteral("framesPerSecond")).toDouble();
    const std::uint64_t pixels = std::uint64_t{sidecar.format.width} * sidecar.format.height;
    if (sidecar.format.type == ZD_UNKNOWN || pixels == 0 || pixels > largestFrame ||
        sidecar.format.frameBytes() > largestFrame)
        refuseSidecar(QStringLiteral("names no size and type of frames"));
    if (m_object.value(QStringLiteral("byteOrder")).toString(QStringLiteral("little")) != QLatin1StringView("little"))
        refuseSidecar(QStringLiteral("names another byte order than little"));
}

std::uint64_t SidecarReader::number(const QString& name, std::uint64_t otherwise, std::uint64_t largest) const
{
    const QJsonValue value = m_object.value(name);
    if (value.isUndefined())
        return otherwise;
    const double number = value.toDouble(-1);
    if (!(number >= 0 && number <= static_cast<double>(largest)) || number != std::floor(number))
        refuseSidecar(QStringLiteral("has no number in \"%1\"").arg(name));
    return static_cast<std::uint64_t>(number);
}

QJsonArray SidecarReader::list(const QString& name) const
{
    const QJsonValue value = m_object.value(name);
    if (!value.isArray() && !value.isUndefined())
        refuseSidecar(QStringLiteral("has no list in \"%1\"").arg(name));
    return value.toArray();
}

QJsonArray SidecarReader::perFrame(const QString& name, unsigned frames) const
{
    const QJsonArray array = list(name);
    if (!array.isEmpty() && static_cast<std::uint64_t>(array.size()) != frames)
        refuseSidecar(QStringLiteral("has %1 entries in \"%2\" for %3 frames").arg(array.size()).arg(name).arg(frames));
    return array;
}

void SidecarReader::readDescription(MovieDescription& description, unsigned frames) const
{
    for (const QJsonValue& time : perFrame(QStringLiteral("times"), frames)) {
        const double seconds = time.toDouble();
        const std::optional<timeval> value =
            std::fabs(seconds) < 5e9 ? timeOfMicroseconds(std::llround(seconds * 1e6)) : std::nullopt;
        if (!time.isNull() && (!time.isDouble() || !value))
            refuseSidecar(QStringLiteral("has an entry in \"times\" that is no time"));
        description.times.push_back(time.isNull() ? std::nullopt : value);
    }
    for (const QJsonValue& power : perFrame(QStringLiteral("laserPowers"), frames)) {
        if (!power.isNull() && (!power.isDouble() || !isLaserPower(power.toDouble())))
            refuseSidecar(QStringLiteral("has an entry in \"laserPowers\" that is no number up to 1"));
        description.laserPowers.push_back(static_cast<float>(std::max(power.toDouble(-1), -1.0)));
    }
    constexpr double farAway = INT32_MAX; // no frame reaches that
    for (const QJsonValue& coordinate : list(QStringLiteral("fiberCenters"))) {
        if (!coordinate.isDouble())
            refuseSidecar(QStringLiteral("has an entry in \"fiberCenters\" that is no number"));
        description.fiberCenters.push_back(static_cast<float>(std::clamp(coordinate.toDouble(), -farAway, farAway)));
    }
    if (description.fiberCenters.size() % 2 != 0)
        refuseSidecar(QStringLiteral("has half a fibre centre"));
    readAttributes(description.attributes);
}

void SidecarReader::readAttributes(AttributeChunk& attributes) const
{
    const QJsonValue value = m_object.value(QStringLiteral("attributes"));
    if (!value.isObject() && !value.isUndefined())
        refuseSidecar(QStringLiteral("has no names and values in \"attributes\""));
    const QJsonObject object = value.toObject();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        if (!entry.value().isString())
            refuseSidecar(QStringLiteral("has a value in \"attributes\" that is no text: %1").arg(entry.key()));
        attributes.set(entry.key(), entry.value().toString());
    }
}

void SidecarReader::refuseSidecar(const QString& problem) const
{
    refuse(m_path, problem, QStringLiteral("correct it, or import the pixels alone with --pixels-only"));
}

} // namespace

QByteArray sidecarText(const Sidecar& sidecar)
{
    const MovieDescription& description = sidecar.description;
    QJsonObject object{
        {QStringLiteral("schema"), schemaName},
        {QStringLiteral("version"), schemaVersion},
        {QStringLiteral("file"), sidecar.file},
        {QStringLiteral("form"), formName(sidecar.form)},
        {QStringLiteral("type"), sampleTypeName(sidecar.format.type)},
        {QStringLiteral("width"), static_cast<qint64>(sidecar.format.width)},
        {QStringLiteral("height"), static_cast<qint64>(sidecar.format.height)},
        {QStringLiteral("frames"), static_cast<qint64>(sidecar.frames)},
        {QStringLiteral("times"), timesArray(description.times)},
        {QStringLiteral("laserPowers"), powersArray(description.laserPowers)},
        {QStringLiteral("attributes"), attributesObject(description.attributes)},
        {QStringLiteral("fiberCenters"), floatArray(description.fiberCenters)},
    };
    if (sidecar.form == ExchangeForm::Raw || sidecar.form == ExchangeForm::Npy) {
        object.insert(QStringLiteral("offset"), static_cast<qint64>(sidecar.offset));
        object.insert(QStringLiteral("byteOrder"), QStringLiteral("little"));
    }
    if (!sidecar.checksum.isEmpty())
        object.insert(QStringLiteral("checksum"), sidecar.checksum);
    if (sidecar.zero != 0)
        object.insert(QStringLiteral("zero"), static_cast<qint64>(sidecar.zero));
    if (sidecar.framesPerSecond > 0)
        object.insert(QStringLiteral("framesPerSecond"), sidecar.framesPerSecond);
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

bool isSidecar(const QString& path)
{
    const QByteArray text = fileText(path);
    return QJsonDocument::fromJson(text).object().value(QStringLiteral("schema")).toString() == schemaName;
}

std::optional<Sidecar> readSidecar(const QString& path)
{
    const QByteArray text = fileText(path);
    if (text.isEmpty())
        return std::nullopt;
    QJsonParseError error{};
    const QJsonObject object = QJsonDocument::fromJson(text, &error).object();
    if (error.error != QJsonParseError::NoError)
        refuse(path, QStringLiteral("is no JSON: %1 at byte %2").arg(error.errorString()).arg(error.offset),
               QStringLiteral("correct it, or import the pixels alone with --pixels-only"));
    if (object.value(QStringLiteral("schema")).toString() != schemaName)
        return std::nullopt;
    return SidecarReader(path, object).read();
}

} // namespace zd::movietools
