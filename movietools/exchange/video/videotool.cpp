#include <movietools/exchange/video/videotool_p.h>

#include <QFileInfo>

namespace zd::movietools {

QString videoPixels(ZDImagePixelType type)
{
    switch (type) {
    case ZD_UCHAR:
        return QStringLiteral("gray");
    case ZD_USHORT:
        return QStringLiteral("gray16le");
    case ZD_RGB:
        return QStringLiteral("rgb24");
    case ZD_RGBA:
        return QStringLiteral("rgba");
    default:
        return {};
    }
}

QString videoAddress(const QString& path)
{
    return QStringLiteral("file:") + QFileInfo(path).absoluteFilePath();
}

} // namespace zd::movietools
