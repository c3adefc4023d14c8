#include <movietools/verify/verifychecks_p.h>

#include <common/zdpalette.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/pixeltypes.h>
#include <movietools/frames/framelayout.h>
#include <movietools/job/wording.h>

#include <array>
#include <cmath>

namespace zd::movietools {

namespace {

namespace key = layout::key;

/// Holds the values of a header against the rules of the format and against the frames.
class HeaderCheck {
public:
    HeaderCheck(const MovieContent& movie, Findings& findings) : m_movie(movie), m_findings(findings) {}

    void run();

private:
    void add(const char* name, Severity severity, const QString& expected, const QString& found, const char* advice,
             std::int64_t offset = Finding::nowhere);
    QString valueText(const QString& name) const;
    void checkNumbers();
    void checkByteOrder();
    void checkFrameSize();
    void checkPixelType();
    void checkFrames();
    void checkBox();
    void checkPalette();
    bool checkPaletteNode(int node);

    const MovieContent& m_movie;
    Findings& m_findings;
};

template <typename Number>
bool isNumber(const AttributeChunk& header, const QString& name)
{
    Number number{};
    return header.get(name, number);
}

bool isThere(const AttributeChunk& header, const QString& name)
{
    QString text;
    return header.get(name, text);
}

void HeaderCheck::run()
{
    checkNumbers();
    checkByteOrder();
    checkFrameSize();
    checkPixelType();
    checkFrames();
    checkBox();
    checkPalette();
}

void HeaderCheck::add(const char* name, Severity severity, const QString& expected, const QString& found,
                      const char* advice, std::int64_t offset)
{
    m_findings.add(name, severity, offset, expected, found, advice);
}

QString HeaderCheck::valueText(const QString& name) const
{
    QString text;
    return m_movie.header.get(name, text) ? QStringLiteral("%1=%2").arg(name, text) : QStringLiteral("no %1").arg(name);
}

void HeaderCheck::checkNumbers()
{
    const auto check = [this](const QString& name, bool isOne, const char* kind) {
        if (isThere(m_movie.header, name) && !isOne)
            add("attribute-not-a-number", Severity::Warning, QString::fromLatin1(kind), valueText(name),
                "readers take it as missing or 0: set it anew");
    };
    for (const QString name :
         {key::endian, key::width, key::height, key::pixType, key::pixBits, key::frameDelay, key::dimension,
          key::palette, key::indexed, key::maskLevel, key::utcOffsetSeconds, key::frameTimer})
        check(name, isNumber<int>(m_movie.header, name), "a whole number");
    for (const QString name : {key::boxMinX, key::boxMinY, key::boxMaxX, key::boxMaxY, key::sinusT0, key::sinusT1})
        check(name, isNumber<float>(m_movie.header, name), "a number");
}

void HeaderCheck::checkByteOrder()
{
    int endian = 0;
    if (!m_movie.header.get(key::endian, endian)) {
        add("byte-order-missing", Severity::Warning, QStringLiteral("endian=2"), valueText(key::endian),
            "readers take the samples as little-endian, and no program edits the movie: set endian to 2");
        return;
    }
    constexpr int bigEndian = 1;
    if (endian == bigEndian)
        add("byte-order-swapped", Severity::Note, QStringLiteral("endian=2"), valueText(key::endian),
            "readers turn the samples; right only if the movie comes from a big-endian machine");
    else if (endian != layout::littleEndian)
        add("byte-order-unknown", Severity::Warning, QStringLiteral("endian=2, or 1 for big-endian samples"),
            valueText(key::endian), "readers turn the samples: set endian to 2");
}

void HeaderCheck::checkFrameSize()
{
    for (const QString name : {key::width, key::height}) {
        int extent = 0;
        if (!isThere(m_movie.header, name))
            add("frame-size-missing", Severity::Warning, QStringLiteral("%1=...").arg(name), valueText(name),
                "pictures cannot be shown: set it");
        else if (m_movie.header.get(name, extent) && extent <= 0)
            add("frame-size-invalid", Severity::Warning, QStringLiteral("%1 above 0").arg(name), valueText(name),
                "pictures cannot be shown: set it anew");
    }
}

void HeaderCheck::checkPixelType()
{
    int type = 0;
    int bits = 0;
    const bool hasType = m_movie.header.get(key::pixType, type);
    const bool hasBits = m_movie.header.get(key::pixBits, bits);
    const int typeBits = GetPixBits(static_cast<ZDImagePixelType>(type));
    if (!hasType && !hasBits)
        add("pixel-type-missing", Severity::Warning, QStringLiteral("pixtype and pixbits"), QStringLiteral("neither"),
            "pictures cannot be shown: set them");
    else if (!hasType)
        add("pixel-type-guessed", Severity::Warning, QStringLiteral("pixtype"), valueText(key::pixBits),
            "readers take the samples as unsigned: set pixtype");
    else if (typeBits == 0)
        add("pixel-type-unknown", Severity::Warning, QStringLiteral("pixtype from 1 to 12"), valueText(key::pixType),
            "pictures cannot be shown: set it anew");
    else if (!hasBits || bits != typeBits)
        add("pixel-bits", Severity::Warning, QStringLiteral("pixbits=%1").arg(typeBits), valueText(key::pixBits),
            "readers follow pixtype, appended frames pixbits: set pixbits anew");
}

void HeaderCheck::checkFrames()
{
    const std::optional<std::int64_t> expected = frameBytes(m_movie.header);
    if (!expected)
        return;
    for (const WalkedPiece& frame : m_movie.listedInFileOrder(ZD_FRAME_CHUNK))
        if (frame.size != *expected)
            add("frame-length", Severity::Warning, QStringLiteral("%1 bytes, as the header says").arg(*expected),
                QStringLiteral("%1 bytes").arg(frame.size), "compare width, height and pixel type with another movie",
                frame.offset);
}

void HeaderCheck::checkBox()
{
    const std::array<QString, 4> names{key::boxMinX, key::boxMinY, key::boxMaxX, key::boxMaxY};
    std::array<float, 4> box{};
    int present = 0;
    for (std::size_t i = 0; i < names.size(); ++i)
        present += m_movie.header.get(names[i], box[i]) ? 1 : 0;
    if (present == 0)
        return;
    if (present < 4)
        add("box-incomplete", Severity::Warning,
            QStringLiteral("all four of bbox_min_x, bbox_min_y, bbox_max_x, bbox_max_y"),
            QStringLiteral("%1 of them").arg(present), "readers find no bounding box");
    else if (!(box[0] <= box[2] && box[1] <= box[3]))
        add("box-reversed", Severity::Warning, QStringLiteral("minimum not above maximum"),
            QStringLiteral("%1, %2 to %3, %4").arg(box[0]).arg(box[1]).arg(box[2]).arg(box[3]),
            "fibre queries keep no fibre: set the box anew");
}

void HeaderCheck::checkPalette()
{
    int nodes = 0;
    if (!m_movie.header.get(key::paletteNodeCount, nodes) && !m_movie.header.get(key::paletteOldNodeCount, nodes)) {
        if (isThere(m_movie.header, key::paletteNodeCount) || isThere(m_movie.header, key::paletteName) ||
            isThere(m_movie.header, key::paletteCropMin))
            add("palette-incomplete", Severity::Warning, QStringLiteral("a number of nodes in pal_nbcols"),
                valueText(key::paletteNodeCount), "readers take the default palette");
        return;
    }
    // Readers end at the first node that is missing, whatever their number says.
    for (int node = 0; node < nodes && checkPaletteNode(node); ++node) {
    }
    int cropMin = 0;
    int cropMax = 0;
    if (m_movie.header.get(key::paletteCropMin, cropMin) && m_movie.header.get(key::paletteCropMax, cropMax) &&
        cropMin > cropMax)
        add("palette-crop-reversed", Severity::Warning, QStringLiteral("pal_cropMin not above pal_cropMax"),
            QStringLiteral("%1 and %2").arg(cropMin).arg(cropMax), "readers swap them");
}

// Returns whether the node is complete.
bool HeaderCheck::checkPaletteNode(int node)
{
    for (const QLatin1StringView suffix :
         {key::nodeValueSuffix, key::nodeRedSuffix, key::nodeGreenSuffix, key::nodeBlueSuffix}) {
        const QString name = key::paletteNodePrefix + QString::number(node) + suffix;
        float value = 0;
        if (!m_movie.header.get(name, value)) {
            add("palette-incomplete", Severity::Warning, QStringLiteral("a number in %1").arg(name), valueText(name),
                "readers take the default palette");
            return false;
        }
        if (!std::isfinite(value))
            add("palette-not-finite", Severity::Warning, QStringLiteral("a finite number in %1").arg(name),
                valueText(name), "readers drop the node");
    }
    return true;
}

} // namespace

void checkHeaderValues(const MovieContent& movie, Findings& findings)
{
    HeaderCheck(movie, findings).run();
}

} // namespace zd::movietools
