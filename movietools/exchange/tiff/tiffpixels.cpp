#include <movietools/exchange/tiff/tiffpixels_p.h>

#include <tiffio.h>

namespace zd::movietools {

TiffSamples tiffSamples(ZDImagePixelType type)
{
    const auto bits = static_cast<std::uint16_t>(GetPixBits(type));
    switch (GetPixGroup(type)) {
    case ZD_GROUP_FLOAT:
        return {bits, SAMPLEFORMAT_IEEEFP, 1, PHOTOMETRIC_MINISBLACK};
    case ZD_GROUP_SIGNED:
        return {bits, SAMPLEFORMAT_INT, 1, PHOTOMETRIC_MINISBLACK};
    case ZD_GROUP_UNSIGNED:
        return {bits, SAMPLEFORMAT_UINT, 1, PHOTOMETRIC_MINISBLACK};
    case ZD_GROUP_RGB:
        return {8, SAMPLEFORMAT_UINT, 3, PHOTOMETRIC_RGB};
    case ZD_GROUP_RGBA:
        return {8, SAMPLEFORMAT_UINT, 4, PHOTOMETRIC_RGB};
    default:
        return {};
    }
}

ZDImagePixelType pixelType(std::uint16_t bits, std::uint16_t format, std::uint16_t channels)
{
    const bool isUnsigned = format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_VOID;
    if (channels != 1) {
        if (!isUnsigned || bits != 8)
            return ZD_UNKNOWN;
        return channels == 3 ? ZD_RGB : channels == 4 ? ZD_RGBA : ZD_UNKNOWN;
    }
    if (format == SAMPLEFORMAT_IEEEFP)
        return GuessPixelType(ZD_GROUP_FLOAT, bits);
    if (bits > 32 || (!isUnsigned && format != SAMPLEFORMAT_INT))
        return ZD_UNKNOWN;
    return GuessPixelType(isUnsigned ? ZD_GROUP_UNSIGNED : ZD_GROUP_SIGNED, bits);
}

} // namespace zd::movietools
