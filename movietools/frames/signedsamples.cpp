#include <movietools/frames/signedsamples_p.h>

#include <cstring>

namespace zd::movietools {

std::uint32_t zeroOf(ZDImagePixelType type)
{
    return type == ZD_CHAR ? 128 : type == ZD_SHORT ? 32768 : 0;
}

ZDImagePixelType unsignedType(ZDImagePixelType type)
{
    return type == ZD_CHAR ? ZD_UCHAR : type == ZD_SHORT ? ZD_USHORT : type;
}

void shiftSigned(ZDImagePixelType type, const void* source, char* target, std::size_t bytes)
{
    const char* from = static_cast<const char*>(source);
    // The highest bit lies in the last byte of a little-endian sample.
    const std::size_t step = type == ZD_SHORT ? 2 : 1;
    if (target != from)
        std::memcpy(target, from, bytes);
    if (zeroOf(type) != 0)
        for (std::size_t i = step - 1; i < bytes; i += step)
            target[i] = static_cast<char>(target[i] ^ '\x80');
}

} // namespace zd::movietools
