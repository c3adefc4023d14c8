#include <movietools/exchange/tiff/omexml_p.h>

#include <movietools/exchange/tiff/omevocabulary_p.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/timetext.h>

#include <QHash>
#include <QUrl>
#include <QXmlStreamReader>

#include <array>
#include <cmath>

namespace zd::movietools {

namespace {

constexpr QChar lineBreakInMovies(7);

[[noreturn]] void refuseMetadata(const QString& problem)
{
    throw OmeXmlError{problem};
}

/// Where a page lies in the three dimensions beside its own: Z, C, T.
using PlaneIndex = std::array<std::uint64_t, 3>;

struct Plane {
    PlaneIndex index{};
    std::optional<std::int64_t> delay; // microseconds after the start
    QStringList annotations;
};

/// A run of pages that begins at another place than the dimension order says.
struct PageRun {
    PlaneIndex first{};
    std::uint64_t page = 0;
    std::uint64_t count = 0;
};

/// Reads one document; what it does not know it passes over.
class OmeXmlReader {
public:
    explicit OmeXmlReader(const QString& text) : m_xml(text) {}

    MovieDescription read();

private:
    void readElement();
    void readImage();
    void readPixels();
    void readPageRun();
    void readPlane();
    void readAnnotation();
    void readMap(bool encoded);
    void readFiberCenters(const QString& text);
    void readLaserPower(const QString& identity, const QString& text);
    void readDate(const QString& text);
    std::uint64_t number(QLatin1StringView name, std::uint64_t otherwise) const;
    std::int64_t delayOf(const QString& text, const QString& unit) const;
    std::uint64_t orderOf(const PlaneIndex& index) const;
    std::uint64_t pageOf(const PlaneIndex& index) const;
    MovieDescription describe();

    QXmlStreamReader m_xml;
    MovieDescription m_notes;
    std::optional<timeval> m_start;
    QString m_dimensions = QStringLiteral("XYZCT");
    PlaneIndex m_sizes{1, 1, 1};
    std::uint64_t m_samplesPerPixel = 1;
    std::vector<Plane> m_planes;
    std::vector<PageRun> m_runs;
    QHash<QString, float> m_powers; // by the identity of their annotation
    bool m_seenPixels = false;
};

MovieDescription OmeXmlReader::read()
{
    while (!m_xml.atEnd())
        if (m_xml.readNext() == QXmlStreamReader::StartElement)
            readElement();
    if (m_xml.hasError())
        refuseMetadata(QStringLiteral("is damaged: line %1: %2").arg(m_xml.lineNumber()).arg(m_xml.errorString()));
    return describe();
}

void OmeXmlReader::readElement()
{
    const QStringView name = m_xml.name();
    if (name == QLatin1StringView("Pixels"))
        readPixels();
    else if (name == QLatin1StringView("Channel"))
        m_samplesPerPixel = number(QLatin1StringView("SamplesPerPixel"), 1);
    else if (name == QLatin1StringView("TiffData"))
        readPageRun();
    else if (name == QLatin1StringView("Plane"))
        readPlane();
    else if (name == QLatin1StringView("AcquisitionDate") && !m_start)
        readDate(m_xml.readElementText());
    else if (name.endsWith(QLatin1StringView("Annotation")))
        readAnnotation();
}

void OmeXmlReader::readDate(const QString& text)
{
    m_start = parseTime(text.trimmed());
}

std::uint64_t OmeXmlReader::number(QLatin1StringView name, std::uint64_t otherwise) const
{
    const QStringView text = m_xml.attributes().value(name);
    if (text.isEmpty())
        return otherwise;
    bool isNumber = false;
    const std::uint64_t value = text.toULongLong(&isNumber);
    if (!isNumber || value > INT32_MAX)
        refuseMetadata(QStringLiteral("has no number in %1").arg(name));
    return value;
}

void OmeXmlReader::readPixels()
{
    if (m_seenPixels)
        refuseMetadata(QStringLiteral("describes several images"));
    m_seenPixels = true;
    m_dimensions = m_xml.attributes().value(QLatin1StringView("DimensionOrder")).toString();
    m_sizes = {number(QLatin1StringView("SizeZ"), 1), number(QLatin1StringView("SizeC"), 1),
               number(QLatin1StringView("SizeT"), 1)};
}

void OmeXmlReader::readPageRun()
{
    const QXmlStreamAttributes attributes = m_xml.attributes();
    if (!attributes.hasAttribute(QLatin1StringView("IFD")))
        return;
    m_runs.push_back({{number(QLatin1StringView("FirstZ"), 0), number(QLatin1StringView("FirstC"), 0),
                       number(QLatin1StringView("FirstT"), 0)},
                      number(QLatin1StringView("IFD"), 0),
                      number(QLatin1StringView("PlaneCount"), 1)});
}

void OmeXmlReader::readPlane()
{
    Plane plane;
    plane.index = {number(QLatin1StringView("TheZ"), 0), number(QLatin1StringView("TheC"), 0),
                   number(QLatin1StringView("TheT"), 0)};
    const QXmlStreamAttributes attributes = m_xml.attributes();
    if (attributes.hasAttribute(QLatin1StringView("DeltaT")))
        plane.delay = delayOf(attributes.value(QLatin1StringView("DeltaT")).toString(),
                              attributes.value(QLatin1StringView("DeltaTUnit")).toString());
    while (m_xml.readNextStartElement()) {
        if (m_xml.name() == QLatin1StringView("AnnotationRef"))
            plane.annotations.append(m_xml.attributes().value(QLatin1StringView("ID")).toString());
        m_xml.skipCurrentElement();
    }
    m_planes.push_back(plane);
}

std::int64_t OmeXmlReader::delayOf(const QString& text, const QString& unit) const
{
    double scale = 0;
    if (unit.isEmpty() || unit == QLatin1StringView("s"))
        scale = 1e6;
    else if (unit == QLatin1StringView("ms"))
        scale = 1e3;
    else if (unit == QStringLiteral("\u00b5s"))
        scale = 1;
    else if (unit == QLatin1StringView("min"))
        scale = 60e6;
    bool isNumber = false;
    const double value = text.toDouble(&isNumber) * scale;
    if (!isNumber || scale == 0 || !(std::fabs(value) < 1e16))
        refuseMetadata(QStringLiteral("has a time that is none: %1 %2").arg(text, unit));
    return std::llround(value);
}

void OmeXmlReader::readAnnotation()
{
    const QString kind = m_xml.attributes().value(QLatin1StringView("Namespace")).toString();
    const QString identity = m_xml.attributes().value(QLatin1StringView("ID")).toString();
    while (m_xml.readNextStartElement()) {
        if (m_xml.name() != QLatin1StringView("Value"))
            m_xml.skipCurrentElement();
        else if (kind == ome::attributes || kind == ome::encodedAttributes)
            readMap(kind == ome::encodedAttributes);
        else if (kind == ome::fiberCenters)
            readFiberCenters(m_xml.readElementText());
        else if (kind == ome::laserPower)
            readLaserPower(identity, m_xml.readElementText());
        else
            m_xml.skipCurrentElement();
    }
}

void OmeXmlReader::readLaserPower(const QString& identity, const QString& text)
{
    bool isNumber = false;
    const float power = text.toFloat(&isNumber);
    if (!isNumber || !isLaserPower(static_cast<double>(power)))
        refuseMetadata(QStringLiteral("has a laser power that is none: %1").arg(text));
    m_powers.insert(identity, power);
}

void OmeXmlReader::readMap(bool encoded)
{
    const auto value = [encoded](const QString& text) {
        return encoded ? QUrl::fromPercentEncoding(text.toLatin1())
                       : QString(text).replace(QLatin1Char('\n'), lineBreakInMovies);
    };
    while (m_xml.readNextStartElement()) {
        const QString name = m_xml.attributes().value(QLatin1StringView("K")).toString();
        m_notes.attributes.set(value(name), value(m_xml.readElementText()));
    }
}

void OmeXmlReader::readFiberCenters(const QString& text)
{
    for (const QStringView part : QStringView(text).tokenize(u' ', Qt::SkipEmptyParts)) {
        bool isNumber = false;
        m_notes.fiberCenters.push_back(part.toFloat(&isNumber));
        if (!isNumber)
            refuseMetadata(QStringLiteral("has a fibre centre that is no number"));
    }
    if (m_notes.fiberCenters.size() % 2 != 0)
        refuseMetadata(QStringLiteral("has half a fibre centre"));
}

// The place of a plane among all by the dimension order, which names the fastest first.
std::uint64_t OmeXmlReader::orderOf(const PlaneIndex& index) const
{
    PlaneIndex sizes = m_sizes;
    sizes[1] = std::max<std::uint64_t>(sizes[1] / std::max<std::uint64_t>(m_samplesPerPixel, 1), 1);
    std::uint64_t place = 0;
    std::uint64_t step = 1;
    for (const QChar dimension : m_dimensions.mid(2)) {
        const auto which = static_cast<std::size_t>(QStringLiteral("ZCT").indexOf(dimension));
        if (which >= sizes.size() || index[which] >= sizes[which])
            refuseMetadata(QStringLiteral("has a plane outside its image"));
        place += index[which] * step; // each below 2^31 and the number of pages below 2^32: checked by `describe`
        step *= sizes[which];
    }
    return place;
}

std::uint64_t OmeXmlReader::pageOf(const PlaneIndex& index) const
{
    const std::uint64_t order = orderOf(index);
    for (const PageRun& run : m_runs) {
        const std::uint64_t first = orderOf(run.first);
        if (order >= first && order - first < run.count)
            return run.page + (order - first);
    }
    return order;
}

MovieDescription OmeXmlReader::describe()
{
    constexpr std::uint64_t mostPages = 1U << 24U;
    if (m_dimensions.size() != 5 || m_sizes[0] * m_sizes[1] > mostPages ||
        m_sizes[0] * m_sizes[1] * m_sizes[2] > mostPages)
        refuseMetadata(QStringLiteral("has dimensions that cannot be"));
    std::vector<std::optional<timeval>> times;
    std::vector<float> powers;
    for (const Plane& plane : m_planes) {
        const std::uint64_t page = pageOf(plane.index);
        if (page >= mostPages)
            refuseMetadata(QStringLiteral("has a plane on page %1").arg(page));
        if (page >= times.size()) {
            times.resize(page + 1);
            powers.resize(page + 1, -1.0F);
        }
        if (plane.delay)
            times[page] = timeOfMicroseconds(microseconds(m_start.value_or(timeval{})) + *plane.delay);
        for (const QString& annotation : plane.annotations)
            powers[page] = m_powers.value(annotation, powers[page]);
    }
    m_notes.times = std::move(times);
    m_notes.laserPowers = std::move(powers);
    return m_notes;
}

} // namespace

bool isOmeXml(const QString& text)
{
    return text.left(1000).contains(QLatin1StringView("<OME")) &&
           text.contains(QLatin1StringView("openmicroscopy.org"));
}

MovieDescription readOmeXml(const QString& text)
{
    return OmeXmlReader(text).read();
}

} // namespace zd::movietools
