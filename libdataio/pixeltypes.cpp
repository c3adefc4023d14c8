#include <libdataio/pixeltypes.h>

#include <array>
#include <cstddef>

namespace {

struct PixelType {
    QLatin1StringView name;
    int bits;
    ZDImagePixelGroups group;
};

/// In order of the enumeration's numbers.
constexpr std::array<PixelType, 13> pixelTypes{{
    {QLatin1StringView("ZD_UNKNOWN"), 0, ZD_GROUP_UNKNOWN},
    {QLatin1StringView("ZD_FLOAT"), 32, ZD_GROUP_FLOAT},
    {QLatin1StringView("ZD_DOUBLE"), 64, ZD_GROUP_FLOAT},
    {QLatin1StringView("ZD_UCHAR"), 8, ZD_GROUP_UNSIGNED},
    {QLatin1StringView("ZD_CHAR"), 8, ZD_GROUP_SIGNED},
    {QLatin1StringView("ZD_USHORT"), 16, ZD_GROUP_UNSIGNED},
    {QLatin1StringView("ZD_SHORT"), 16, ZD_GROUP_SIGNED},
    {QLatin1StringView("ZD_UINT"), 32, ZD_GROUP_UNSIGNED},
    {QLatin1StringView("ZD_INT"), 32, ZD_GROUP_SIGNED},
    {QLatin1StringView("ZD_ULONG"), 32, ZD_GROUP_UNSIGNED},
    {QLatin1StringView("ZD_LONG"), 32, ZD_GROUP_SIGNED},
    {QLatin1StringView("ZD_RGB"), 24, ZD_GROUP_RGB},
    {QLatin1StringView("ZD_RGBA"), 32, ZD_GROUP_RGBA},
}};

/// Null for numbers outside the enumeration.
const PixelType* findPixelType(ZDImagePixelType type)
{
    const auto number = static_cast<std::size_t>(static_cast<unsigned int>(type));
    return number < pixelTypes.size() ? &pixelTypes[number] : nullptr;
}

/// A family's types of 8, 16, 32 and 64 bits.
using TypesByWidth = std::array<ZDImagePixelType, 4>;
constexpr TypesByWidth floatTypes{ZD_UNKNOWN, ZD_UNKNOWN, ZD_FLOAT, ZD_DOUBLE};
constexpr TypesByWidth signedTypes{ZD_CHAR, ZD_SHORT, ZD_INT, ZD_LONG};
constexpr TypesByWidth unsignedTypes{ZD_UCHAR, ZD_USHORT, ZD_UINT, ZD_ULONG};

ZDImagePixelType typeOfWidth(const TypesByWidth& types, int bits)
{
    switch (bits) {
    case 8:
        return types[0];
    case 16:
        return types[1];
    case 32:
        return types[2];
    case 64:
        return types[3];
    default:
        return ZD_UNKNOWN;
    }
}

ZDImagePixelType unsignedTypeOfDepth(int bits)
{
    if (bits <= 8)
        return ZD_UCHAR;
    if (bits <= 16)
        return ZD_USHORT;
    if (bits <= 32)
        return ZD_UINT;
    return bits <= 64 ? ZD_ULONG : ZD_UNKNOWN;
}

} // namespace

int GetPixBits(ZDImagePixelType type)
{
    const PixelType* known = findPixelType(type);
    return known ? known->bits : 0;
}

ZDImagePixelGroups GetPixGroup(ZDImagePixelType type)
{
    const PixelType* known = findPixelType(type);
    return known ? known->group : ZD_GROUP_UNKNOWN;
}

ZDImagePixelType GuessPixelType(ZDImagePixelGroups group, int bits)
{
    switch (group) {
    case ZD_GROUP_FLOAT:
        return typeOfWidth(floatTypes, bits);
    case ZD_GROUP_SIGNED:
        return typeOfWidth(signedTypes, bits);
    case ZD_GROUP_UNSIGNED:
        return typeOfWidth(unsignedTypes, bits);
    case ZD_GROUP_UNSIGNED_BITS:
        return unsignedTypeOfDepth(bits);
    case ZD_GROUP_RGB:
        return bits == 24 ? ZD_RGB : ZD_UNKNOWN;
    case ZD_GROUP_RGBA:
        return bits == 24 ? ZD_RGBA : ZD_UNKNOWN;
    case ZD_GROUP_UNKNOWN:
        break;
    }
    return ZD_UNKNOWN;
}

ZDImagePixelType QstringToPixelType(const QString& text)
{
    const QString name = text.toUpper();
    for (std::size_t number = 0; number < pixelTypes.size(); ++number) {
        if (name == pixelTypes[number].name)
            return static_cast<ZDImagePixelType>(number);
    }
    return ZD_UNKNOWN;
}

void PixelTypeToQstring(ZDImagePixelType type, QString& out)
{
    const PixelType* known = findPixelType(type);
    out = known ? QString(known->name) : QString();
}
