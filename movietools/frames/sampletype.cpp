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

SampleFormat sampleFormat(ZDImagePixelType type)
{
    const int bits = GetPixBits(type);
    switch (GetPixGroup(type)) {
    case ZD_GROUP_FLOAT:
        return {SampleKind::Float, bits, 1};
    case ZD_GROUP_SIGNED:
        return {SampleKind::Signed, bits, 1};
    case ZD_GROUP_UNSIGNED:
        return {SampleKind::Unsigned, bits, 1};
    case ZD_GROUP_RGB:
        return {SampleKind::Unsigned, 8, 3};
    case ZD_GROUP_RGBA:
        return {SampleKind::Unsigned, 8, 4};
    default:
        return {};
    }
}

ZDImagePixelType pixelType(const SampleFormat& samples)
{
    const bool isUnsigned = samples.kind == SampleKind::Unsigned;
    if (samples.channels != 1) {
        if (!isUnsigned || samples.bits != 8)
            return ZD_UNKNOWN;
        return samples.channels == 3 ? ZD_RGB : samples.channels == 4 ? ZD_RGBA : ZD_UNKNOWN;
    }
    if (samples.kind == SampleKind::Float)
        return GuessPixelType(ZD_GROUP_FLOAT, samples.bits);
    if (samples.bits > 32)
        return ZD_UNKNOWN;
    return GuessPixelType(isUnsigned ? ZD_GROUP_UNSIGNED : ZD_GROUP_SIGNED, samples.bits);
}

bool isColored(ZDImagePixelType type)
{
    return sampleFormat(type).channels > 1;
}

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
