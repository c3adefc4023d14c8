#include <movietools/exchange/tiff/omexml_p.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/exchange/tiff/omevocabulary_p.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/timetext.h>
#include <movietools/movie/attributerules.h>

#include <QLocale>
#include <QUrl>
#include <QXmlStreamWriter>

#include <algorithm>
#include <map>

namespace zd::movietools {

namespace {

constexpr QChar lineBreakInMovies(7); // in comments; values have no true line breaks

QString omeType(ZDImagePixelType type)
{
    switch (GetPixGroup(type)) {
    case ZD_GROUP_FLOAT:
        return GetPixBits(type) == 64 ? QStringLiteral("double") : QStringLiteral("float");
    case ZD_GROUP_SIGNED:
        return QStringLiteral("int%1").arg(GetPixBits(type));
    case ZD_GROUP_UNSIGNED:
        return QStringLiteral("uint%1").arg(GetPixBits(type));
    default:
        return QStringLiteral("uint8");
    }
}

bool fitsXml(const QString& text)
{
    return std::none_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x20 && c != lineBreakInMovies; });
}

/// One document, written from its start to its end.
class OmeXmlWriter {
public:
    explicit OmeXmlWriter(const OmeStack& stack) : m_stack(stack), m_notes(*stack.description) {}

    QByteArray write();

private:
    void numberAnnotations();
    void writeImage();
    void writeAcquisitionDate();
    void writePixels();
    void writePlane(unsigned frame);
    void writeAnnotations();
    void writeLaserPowers();
    void writeFiberCenters();
    void writeAttributes(QLatin1StringView kind, bool encoded);
    void writeFiberRegions();
    void startAnnotation(QLatin1StringView element, QLatin1StringView kind, const QString& identity);
    void reference(const QString& identity);
    bool hasAttributes(bool encoded) const;
    static bool isEncoded(const QString& name, const QString& value);
    QString annotation(unsigned number) const { return QStringLiteral("Annotation:%1").arg(number); }

    const OmeStack& m_stack;
    const MovieDescription& m_notes;
    QByteArray m_text;
    QXmlStreamWriter m_xml{&m_text};
    std::map<float, unsigned> m_powers; // each with the number of its annotation
    std::optional<timeval> m_start;
    bool m_hasRegions = false;
};

// Annotations 0 to 2 are the attributes, the encoded ones and the fibre centres; laser powers follow.
constexpr unsigned attributesNumber = 0;
constexpr unsigned encodedNumber = 1;
constexpr unsigned fibersNumber = 2;
constexpr unsigned firstPowerNumber = 3;

QByteArray OmeXmlWriter::write()
{
    numberAnnotations();
    m_hasRegions = m_stack.fiberRegions && !m_notes.fiberCenters.empty();
    m_xml.writeStartDocument();
    m_xml.writeStartElement(QStringLiteral("OME"));
    m_xml.writeDefaultNamespace(ome::schema);
    m_xml.writeNamespace(QStringLiteral("http://www.w3.org/2001/XMLSchema-instance"), QStringLiteral("xsi"));
    m_xml.writeAttribute(QStringLiteral("xsi:schemaLocation"), QStringLiteral("%1 %1/ome.xsd").arg(ome::schema));
    m_xml.writeAttribute(QStringLiteral("Creator"), QStringLiteral("DataIO vqf"));
    writeImage();
    writeAnnotations();
    if (m_hasRegions)
        writeFiberRegions();
    m_xml.writeEndDocument();
    return m_text;
}

void OmeXmlWriter::numberAnnotations()
{
    for (const float power : m_notes.laserPowers)
        if (power >= 0)
            m_powers.try_emplace(power, firstPowerNumber + static_cast<unsigned>(m_powers.size()));
    for (const std::optional<timeval>& time : m_notes.times)
        if (time && !m_start)
            m_start = time;
}

void OmeXmlWriter::writeImage()
{
    m_xml.writeStartElement(QStringLiteral("Image"));
    m_xml.writeAttribute(QStringLiteral("ID"), QStringLiteral("Image:0"));
    m_xml.writeAttribute(QStringLiteral("Name"), m_stack.name);
    if (m_start)
        m_xml.writeTextElement(QStringLiteral("AcquisitionDate"), utcText(*m_start));
    QString comment;
    if (m_notes.attributes.get(layout::key::comment, comment) && fitsXml(comment))
        m_xml.writeTextElement(QStringLiteral("Description"), layout::decodeComment(comment));
    writePixels();
    if (m_hasRegions) {
        m_xml.writeEmptyElement(QStringLiteral("ROIRef"));
        m_xml.writeAttribute(QStringLiteral("ID"), QStringLiteral("ROI:0"));
    }
    reference(annotation(attributesNumber));
    if (hasAttributes(true))
        reference(annotation(encodedNumber));
    if (!m_notes.fiberCenters.empty())
        reference(annotation(fibersNumber));
    m_xml.writeEndElement();
}

void OmeXmlWriter::writePixels()
{
    const QString channels = QString::number(sampleFormat(m_stack.format.type).channels);
    m_xml.writeStartElement(QStringLiteral("Pixels"));
    const std::pair<QString, QString> sizes[] = {
        {QStringLiteral("ID"), QStringLiteral("Pixels:0")},
        {QStringLiteral("DimensionOrder"), QStringLiteral("XYCZT")},
        {QStringLiteral("Type"), omeType(m_stack.format.type)},
        {QStringLiteral("BigEndian"), QStringLiteral("false")},
        {QStringLiteral("SizeX"), QString::number(m_stack.format.width)},
        {QStringLiteral("SizeY"), QString::number(m_stack.format.height)},
        {QStringLiteral("SizeC"), channels},
        {QStringLiteral("SizeZ"), QStringLiteral("1")},
        {QStringLiteral("SizeT"), QString::number(m_stack.frames)},
    };
    for (const auto& [name, value] : sizes)
        m_xml.writeAttribute(name, value);
    m_xml.writeEmptyElement(QStringLiteral("Channel"));
    m_xml.writeAttribute(QStringLiteral("ID"), QStringLiteral("Channel:0:0"));
    m_xml.writeAttribute(QStringLiteral("SamplesPerPixel"), channels);
    m_xml.writeEmptyElement(QStringLiteral("TiffData"));
    m_xml.writeAttribute(QStringLiteral("IFD"), QStringLiteral("0"));
    m_xml.writeAttribute(QStringLiteral("PlaneCount"), QString::number(m_stack.frames));
    for (unsigned frame = 0; frame < m_stack.frames; ++frame)
        writePlane(frame);
    m_xml.writeEndElement();
}

void OmeXmlWriter::writePlane(unsigned frame)
{
    m_xml.writeStartElement(QStringLiteral("Plane"));
    m_xml.writeAttribute(QStringLiteral("TheZ"), QStringLiteral("0"));
    m_xml.writeAttribute(QStringLiteral("TheT"), QString::number(frame));
    m_xml.writeAttribute(QStringLiteral("TheC"), QStringLiteral("0"));
    if (frame < m_notes.times.size() && m_notes.times[frame]) {
        m_xml.writeAttribute(QStringLiteral("DeltaT"),
                             secondsText(microseconds(*m_notes.times[frame]) - microseconds(*m_start)));
        m_xml.writeAttribute(QStringLiteral("DeltaTUnit"), QStringLiteral("s"));
    }
    if (frame < m_notes.laserPowers.size() && m_notes.laserPowers[frame] >= 0)
        reference(annotation(m_powers.at(m_notes.laserPowers[frame])));
    m_xml.writeEndElement();
}

void OmeXmlWriter::writeAnnotations()
{
    m_xml.writeStartElement(QStringLiteral("StructuredAnnotations"));
    writeLaserPowers();
    if (!m_notes.fiberCenters.empty())
        writeFiberCenters();
    writeAttributes(ome::attributes, false);
    if (hasAttributes(true))
        writeAttributes(ome::encodedAttributes, true);
    m_xml.writeEndElement();
}

void OmeXmlWriter::writeLaserPowers()
{
    for (const auto& [power, number] : m_powers) {
        startAnnotation(QLatin1StringView("DoubleAnnotation"), ome::laserPower, annotation(number));
        m_xml.writeTextElement(QStringLiteral("Description"), QStringLiteral("laser power, fraction of full power"));
        m_xml.writeTextElement(QStringLiteral("Value"),
                               QString::number(double{power}, 'g', QLocale::FloatingPointShortest));
        m_xml.writeEndElement();
    }
}

void OmeXmlWriter::writeFiberCenters()
{
    QString text;
    for (const float coordinate : m_notes.fiberCenters)
        text += QString::number(double{coordinate}, 'g', 9) + u' ';
    text.chop(1);
    startAnnotation(QLatin1StringView("CommentAnnotation"), ome::fiberCenters, annotation(fibersNumber));
    m_xml.writeTextElement(QStringLiteral("Description"),
                           QStringLiteral("centres of the fibres: x and y of each in turn, in pixels"));
    m_xml.writeTextElement(QStringLiteral("Value"), text);
    m_xml.writeEndElement();
}

bool OmeXmlWriter::isEncoded(const QString& name, const QString& value)
{
    return !fitsXml(name) || !fitsXml(value);
}

bool OmeXmlWriter::hasAttributes(bool encoded) const
{
    const AttributeChunk::Map& entries = m_notes.attributes.attributes();
    return std::any_of(entries.begin(), entries.end(),
                       [&](const auto& entry) { return isEncoded(entry.first, entry.second.text()) == encoded; });
}

void OmeXmlWriter::writeAttributes(QLatin1StringView kind, bool encoded)
{
    startAnnotation(QLatin1StringView("MapAnnotation"), kind, annotation(encoded ? encodedNumber : attributesNumber));
    m_xml.writeStartElement(QStringLiteral("Value"));
    for (const auto& [name, attribute] : m_notes.attributes.attributes()) {
        if (isEncoded(name, attribute.text()) != encoded)
            continue;
        const auto stored = [&](const QString& text) {
            return encoded ? QString::fromLatin1(QUrl::toPercentEncoding(text))
                           : QString(text).replace(lineBreakInMovies, QLatin1Char('\n'));
        };
        m_xml.writeStartElement(QStringLiteral("M"));
        m_xml.writeAttribute(QStringLiteral("K"), stored(name));
        m_xml.writeCharacters(stored(attribute.text()));
        m_xml.writeEndElement();
    }
    m_xml.writeEndElement();
    m_xml.writeEndElement();
}

void OmeXmlWriter::writeFiberRegions()
{
    m_xml.writeStartElement(QStringLiteral("ROI"));
    m_xml.writeAttribute(QStringLiteral("ID"), QStringLiteral("ROI:0"));
    m_xml.writeAttribute(QStringLiteral("Name"), QStringLiteral("fibre centres"));
    m_xml.writeStartElement(QStringLiteral("Union"));
    for (std::size_t fiber = 0; fiber + 1 < m_notes.fiberCenters.size(); fiber += 2) {
        m_xml.writeEmptyElement(QStringLiteral("Point"));
        m_xml.writeAttribute(QStringLiteral("ID"), QStringLiteral("Shape:0:%1").arg(fiber / 2));
        m_xml.writeAttribute(QStringLiteral("X"), QString::number(double{m_notes.fiberCenters[fiber]}, 'g', 9));
        m_xml.writeAttribute(QStringLiteral("Y"), QString::number(double{m_notes.fiberCenters[fiber + 1]}, 'g', 9));
    }
    m_xml.writeEndElement();
    m_xml.writeEndElement();
}

void OmeXmlWriter::startAnnotation(QLatin1StringView element, QLatin1StringView kind, const QString& identity)
{
    m_xml.writeStartElement(element);
    m_xml.writeAttribute(QStringLiteral("ID"), identity);
    m_xml.writeAttribute(QStringLiteral("Namespace"), kind);
}

void OmeXmlWriter::reference(const QString& identity)
{
    m_xml.writeEmptyElement(QStringLiteral("AnnotationRef"));
    m_xml.writeAttribute(QStringLiteral("ID"), identity);
}

} // namespace

QByteArray omeXml(const OmeStack& stack)
{
    return OmeXmlWriter(stack).write();
}

} // namespace zd::movietools
