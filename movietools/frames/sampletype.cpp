#include <movietools/frames/sampletype.h>

namespace zd::movietools {

namespace {

struct NamedType {
    QLatin1StringView name;
    ZDImagePixelType type;
};

constexpr NamedType namedTypes[] = {
    {QLatin1StringView("u8"), ZD_UCHAR},   {QLatin1StringView("s8"), ZD_CHAR},    {QLatin1StringView("u16"), ZD_USHORT},
    {QLatin1StringView("s16"), ZD_SHORT},  {QLatin1StringView("u32"), ZD_UINT},   {QLatin1StringView("s32"), ZD_INT},
    {QLatin1StringView("f32"), ZD_FLOAT},  {QLatin1StringView("f64"), ZD_DOUBLE}, {QLatin1StringView("rgb8"), ZD_RGB},
    {QLatin1StringView("rgba8"), ZD_RGBA},
};

} // namespace

QString sampleTypeName(ZDImagePixelType type)
{
    for (const NamedType& named : namedTypes)
        if (GetPixGroup(named.type) == GetPixGroup(type) && GetPixBits(named.type) == GetPixBits(type))
            return named.name;
    return {};
}

ZDImagePixelType sampleTypeNamed(const QString& name)
{
    for (const NamedType& named : namedTypes)
        if (named.name == name)
            return named.type;
    return ZD_UNKNOWN;
}

QStringList sampleTypeNames()
{
    QStringList names;
    for (const NamedType& named : namedTypes)
        names.append(named.name);
    return names;
}

} // namespace zd::movietools
