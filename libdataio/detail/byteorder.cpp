#include <libdataio/detail/byteorder_p.h>

#include <libdataio/detail/avx2_p.h>

#include <cstdint>
#include <cstring>

namespace zd::detail {

namespace {

template <typename Value>
Value load(const char* source)
{
    Value value;
    std::memcpy(&value, source, sizeof value);
    return value;
}

std::uint16_t reversed(std::uint16_t value)
{
    return __builtin_bswap16(value);
}

std::uint32_t reversed(std::uint32_t value)
{
    return __builtin_bswap32(value);
}

template <typename Sample>
void swapSamples(const char* source, char* target, std::size_t samples)
{
    for (std::size_t i = 0; i < samples; ++i) {
        const Sample sample = reversed(load<Sample>(source + i * sizeof(Sample)));
        std::memcpy(target + i * sizeof(Sample), &sample, sizeof sample);
    }
}

} // namespace

namespace portable {

void swap16(const char* source, char* target, std::size_t samples)
{
    swapSamples<std::uint16_t>(source, target, samples);
}

void swap32(const char* source, char* target, std::size_t samples)
{
    swapSamples<std::uint32_t>(source, target, samples);
}

void wordsToFractions(const char* words, std::size_t count, bool swapped, float* out)
{
    for (std::size_t i = 0; i < count; ++i) {
        const auto stored = load<std::uint32_t>(words + i * sizeof(std::uint32_t));
        const double word = swapped ? reversed(stored) : stored;
        out[i] = static_cast<float>(word / largestWord);
    }
}

} // namespace portable

void swap16(const char* source, char* target, std::size_t samples)
{
    (avx2::available() ? avx2::swap16 : portable::swap16)(source, target, samples);
}

void swap32(const char* source, char* target, std::size_t samples)
{
    (avx2::available() ? avx2::swap32 : portable::swap32)(source, target, samples);
}

void wordsToFractions(const char* words, std::size_t count, bool swapped, float* out)
{
    (avx2::available() ? avx2::wordsToFractions : portable::wordsToFractions)(words, count, swapped, out);
}

} // namespace zd::detail
