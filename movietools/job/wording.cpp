#include <movietools/job/wording.h>

#include <libdataio/imagefilelayout.h>

namespace zd::movietools {

QString sizeText(std::uint64_t bytes)
{
    if (bytes < 1000)
        return QStringLiteral("%1 bytes").arg(bytes);
    double size = static_cast<double>(bytes) / 1e3;
    for (const char* unit : {"kB", "MB"}) {
        if (size < 1e3)
            return QStringLiteral("%1 %2").arg(size, 0, 'f', 1).arg(QLatin1StringView(unit));
        size /= 1e3;
    }
    return QStringLiteral("%1 GB").arg(size, 0, 'f', 2);
}

QString pixelTypeText(ZDImagePixelType type)
{
    const int bits = GetPixBits(type);
    switch (GetPixGroup(type)) {
    case ZD_GROUP_FLOAT:
        return QStringLiteral("%1-bit float").arg(bits);
    case ZD_GROUP_SIGNED:
        return QStringLiteral("%1-bit signed").arg(bits);
    case ZD_GROUP_UNSIGNED:
        return QStringLiteral("%1-bit unsigned").arg(bits);
    case ZD_GROUP_RGB:
        return QStringLiteral("RGB");
    case ZD_GROUP_RGBA:
        return QStringLiteral("RGBA");
    default:
        return QStringLiteral("unknown pixels");
    }
}

QString pictureText(std::int64_t width, std::int64_t height, ZDImagePixelType type)
{
    return QStringLiteral("%1 x %2, %3").arg(width).arg(height).arg(pixelTypeText(type));
}

QString chunkText(std::uint32_t type)
{
    switch (type) {
    case ZD_FRAME_CHUNK:
        return QStringLiteral("frame");
    case ZD_INFO_CHUNK:
        return QStringLiteral("info");
    case ZD_FIBER_CENTERS_CHUNK:
        return QStringLiteral("fibre centres");
    case ZD_FRAME_TIMER_CHUNK:
        return QStringLiteral("frame times");
    case ZD_LASER_POWER_CHUNK:
        return QStringLiteral("laser powers");
    default:
        return QStringLiteral("chunk of type %1").arg(type);
    }
}

} // namespace zd::movietools
