#pragma once

#include <libdataio/pixeltypes.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

/// The samples of frames by their pixel type.
namespace zd::movietools {

/// Calls `use` with a value of the type that grey samples of `type` have; not for colours and unknown types.
template <typename Use>
void withSampleType(ZDImagePixelType type, Use use)
{
    switch (type) {
    case ZD_FLOAT:
        return use(float{});
    case ZD_DOUBLE:
        return use(double{});
    case ZD_UCHAR:
        return use(std::uint8_t{});
    case ZD_CHAR:
        return use(std::int8_t{});
    case ZD_USHORT:
        return use(std::uint16_t{});
    case ZD_SHORT:
        return use(std::int16_t{});
    case ZD_UINT:
    case ZD_ULONG:
        return use(std::uint32_t{});
    case ZD_INT:
    case ZD_LONG:
        return use(std::int32_t{});
    default:
        return;
    }
}

/// Sample `index` of a frame that has it, at any alignment.
template <typename Sample>
Sample sampleAt(const char* samples, std::size_t index)
{
    Sample sample;
    std::memcpy(&sample, samples + index * sizeof sample, sizeof sample);
    return sample;
}

} // namespace zd::movietools
