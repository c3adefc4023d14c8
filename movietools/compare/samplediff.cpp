#include <movietools/compare/samplediff_p.h>

#include <cmath>
#include <cstring>

namespace zd::movietools {

bool SampleComparison::compare(const char* a, const char* b, std::size_t size, MovieDifferences& result) const
{
    switch (type) {
    case ZD_FLOAT:
        return compareAs<float>(a, b, size, result);
    case ZD_DOUBLE:
        return compareAs<double>(a, b, size, result);
    case ZD_CHAR:
        return compareAs<std::int8_t>(a, b, size, result);
    case ZD_USHORT:
        return compareAs<std::uint16_t>(a, b, size, result);
    case ZD_SHORT:
        return compareAs<std::int16_t>(a, b, size, result);
    case ZD_UINT:
    case ZD_ULONG:
        return compareAs<std::uint32_t>(a, b, size, result);
    case ZD_INT:
    case ZD_LONG:
        return compareAs<std::int32_t>(a, b, size, result);
    default:
        return compareAs<std::uint8_t>(a, b, size, result);
    }
}

template <typename Sample>
bool SampleComparison::compareAs(const char* a, const char* b, std::size_t size, MovieDifferences& result) const
{
    constexpr std::size_t bytes = sizeof(Sample);
    result.samples.compared += size / bytes;
    if (std::memcmp(a, b, size) == 0)
        return true;
    for (std::size_t i = 0; i < size / bytes; ++i) {
        if (std::memcmp(a + i * bytes, b + i * bytes, bytes) == 0)
            continue;
        Sample sampleA;
        Sample sampleB;
        std::memcpy(&sampleA, a + i * bytes, bytes);
        std::memcpy(&sampleB, b + i * bytes, bytes);
        const auto valueA = static_cast<double>(sampleA);
        const auto valueB = static_cast<double>(sampleB);
        result.samples.add(frame, std::fabs(valueA - valueB));
        if (!result.firstSample)
            result.firstSample = sampleAt(i, valueA, valueB);
    }
    return false;
}

DifferingSample SampleComparison::sampleAt(std::size_t index, double a, double b) const
{
    const std::size_t channels = type == ZD_RGB ? 3 : type == ZD_RGBA ? 4 : 1;
    const std::size_t pixel = index / channels;
    const std::uint64_t columns = width > 0 ? width : 1;
    return {frame, pixel % columns, pixel / columns, static_cast<int>(index % channels), a, b};
}

} // namespace zd::movietools
