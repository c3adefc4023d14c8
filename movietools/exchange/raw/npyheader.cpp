#include <movietools/exchange/raw/npyheader_p.h>

#include <movietools/frames/sampletype.h>
#include <movietools/job/joberror.h>

#include <QRegularExpression>

namespace zd::movietools {

namespace {

const QByteArray magic("\x93NUMPY", 6);
constexpr qsizetype versionBytes = 2;
constexpr qsizetype alignment = 64;

[[noreturn]] void refuseArray(const QString& path, const QString& problem)
{
    refuse(path, problem,
           QStringLiteral("save an array of frames, rows and columns (and 3 or 4 channels), in C order, of 8, "
                          "16 or 32-bit integers or 32 or 64-bit floats"));
}

QByteArray typeText(ZDImagePixelType type)
{
    const SampleFormat samples = sampleFormat(type);
    const char kind = samples.kind == SampleKind::Float ? 'f' : samples.kind == SampleKind::Signed ? 'i' : 'u';
    return (samples.bits == 8 ? "|" : "<") + QByteArray(1, kind) + QByteArray::number(samples.bits / 8);
}

// The text of the header, a Python dictionary, and where it ends.
QString headerText(const QByteArray& start, const QString& path, std::uint64_t& end)
{
    if (!start.startsWith(magic) || start.size() < magic.size() + versionBytes + 4)
        refuseArray(path, QStringLiteral("is no NumPy file"));
    const int version = start.at(magic.size());
    const qsizetype lengthBytes = version == 1 ? 2 : 4;
    qsizetype length = 0;
    for (qsizetype i = lengthBytes; i > 0; --i)
        length = length * 256 + static_cast<unsigned char>(start.at(magic.size() + versionBytes + i - 1));
    const qsizetype begin = magic.size() + versionBytes + lengthBytes;
    if (version < 1 || version > 3 || length > start.size() - begin)
        refuseArray(path, QStringLiteral("has a header of an unknown version, or one cut short"));
    end = static_cast<std::uint64_t>(begin + length);
    return QString::fromLatin1(start.mid(begin, length)).trimmed();
}

// The value of a key in the dictionary, in which each key stands once.
QString valueOf(const QString& dictionary, const char* key, const char* form, const QString& path)
{
    const QRegularExpression entry(
        QStringLiteral("['\"]%1['\"]\\s*:\\s*%2\\s*(?=[,}])").arg(QLatin1StringView(key), QLatin1StringView(form)));
    QRegularExpressionMatchIterator matches = entry.globalMatch(dictionary);
    if (!matches.hasNext())
        refuseArray(path, QStringLiteral("has no \"%1\" in its header that makes sense").arg(QLatin1StringView(key)));
    return matches.next().captured(1);
}

ZDImagePixelType typeOf(const QString& text, std::uint64_t channels, const QString& path)
{
    const QChar kind = text.at(1);
    const SampleFormat samples{kind == u'f'   ? SampleKind::Float
                               : kind == u'i' ? SampleKind::Signed
                                              : SampleKind::Unsigned,
                               8 * text.mid(2).toInt(), static_cast<int>(channels)};
    const ZDImagePixelType type =
        QStringLiteral("fiu").contains(kind) && samples.bits <= 64 ? pixelType(samples) : ZD_UNKNOWN;
    if (type == ZD_UNKNOWN)
        refuseArray(path, QStringLiteral("holds samples of type %1, which movies do not").arg(text));
    return type;
}

} // namespace

QByteArray npyHeader(const PageFormat& format, std::uint64_t frames)
{
    const int channels = sampleFormat(format.type).channels;
    QByteArray text = "{'descr': '" + typeText(format.type) + "', 'fortran_order': False, 'shape': (" +
                      QByteArray::number(frames) + ", " + QByteArray::number(format.height) + ", " +
                      QByteArray::number(format.width);
    text += (channels > 1 ? ", " + QByteArray::number(channels) : QByteArray()) + "), }";
    const qsizetype fixed = magic.size() + versionBytes + 2;
    const qsizetype whole = (fixed + text.size() + alignment) / alignment * alignment;
    text = text.leftJustified(whole - fixed - 1, ' ') + '\n';
    return magic + QByteArray("\x01\x00", 2) + static_cast<char>(text.size() % 256) +
           static_cast<char>(text.size() / 256) + text;
}

NpyArray readNpyHeader(const QByteArray& start, const QString& path)
{
    NpyArray array;
    const QString dictionary = headerText(start, path, array.offset);
    const QString type = valueOf(dictionary, "descr", "['\"]([<>|=][a-zA-Z][0-9]{1,2})['\"]", path);
    if (valueOf(dictionary, "fortran_order", "(True|False)", path) == QLatin1StringView("True"))
        refuseArray(path, QStringLiteral("is stored in Fortran order"));
    std::vector<std::uint64_t> shape;
    const QString axes = valueOf(dictionary, "shape", "\\(([0-9, ]*)\\)", path);
    for (const QStringView axis : QStringView(axes).tokenize(u',', Qt::SkipEmptyParts))
        if (!axis.trimmed().isEmpty())
            shape.push_back(axis.trimmed().toULongLong());
    if (shape.size() != 3 && (shape.size() != 4 || (shape[3] != 3 && shape[3] != 4)))
        refuseArray(path, QStringLiteral("has the shape (%1)").arg(axes));
    if (shape[0] == 0 || shape[0] > UINT32_MAX || shape[1] == 0 || shape[2] == 0 || shape[1] > largestFrame ||
        shape[2] > largestFrame || shape[1] * shape[2] > largestFrame)
        refuseArray(path, QStringLiteral("has the shape (%1)").arg(axes));
    array.frames = shape[0];
    array.format = {static_cast<std::uint32_t>(shape[2]), static_cast<std::uint32_t>(shape[1]),
                    typeOf(type, shape.size() == 4 ? shape[3] : 1, path), false};
    array.bigEndian = type.startsWith(u'>');
    if (array.format.frameBytes() > largestFrame)
        refuseArray(path, QStringLiteral("has frames larger than a movie (2^31 bytes)"));
    return array;
}

} // namespace zd::movietools
