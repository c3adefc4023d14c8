#include <libdataio/detail/byteorder_p.h>

#include <libdataio/detail/avx2_p.h>

#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>
#include <cstdint>

namespace zd::detail::avx2 {

namespace {

constexpr std::size_t vectorBytes = sizeof(__m256i);

DATAIO_AVX2 __m256i load(const char* source)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source));
}

DATAIO_AVX2 void store(char* target, __m256i value)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(target), value);
}

DATAIO_AVX2 __m256i reversing16()
{
    return _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14, //
                            1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
}

DATAIO_AVX2 __m256i reversing32()
{
    return _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12, //
                            3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
}

/// Samples before the first vector boundary of the target, where stores are fastest.
std::size_t samplesToBoundary(const char* target, std::size_t sampleBytes, std::size_t samples)
{
    const std::size_t bytes = (vectorBytes - reinterpret_cast<std::uintptr_t>(target) % vectorBytes) % vectorBytes;
    return std::min(bytes / sampleBytes, samples);
}

/// Puts the bytes of whole vectors in the order that `order` gives for each half; returns how many bytes it took.
DATAIO_AVX2 std::size_t shuffleVectors(const char* source, char* target, std::size_t bytes, __m256i order)
{
    std::size_t done = 0;
    for (; done + 2 * vectorBytes <= bytes; done += 2 * vectorBytes) {
        const __m256i first = _mm256_shuffle_epi8(load(source + done), order);
        const __m256i second = _mm256_shuffle_epi8(load(source + done + vectorBytes), order);
        store(target + done, first);
        store(target + done + vectorBytes, second);
    }
    return done;
}

/// Swaps whole vectors between the boundaries of the target, and the samples before and after one by one.
DATAIO_AVX2 void swapSamples(const char* source, char* target, std::size_t samples, std::size_t sampleBytes,
                             __m256i order, void (*swapSingly)(const char*, char*, std::size_t))
{
    const std::size_t before = samplesToBoundary(target, sampleBytes, samples);
    swapSingly(source, target, before);
    source += before * sampleBytes;
    target += before * sampleBytes;
    const std::size_t rest = samples - before;
    const std::size_t done = shuffleVectors(source, target, rest * sampleBytes, order);
    swapSingly(source + done, target + done, rest - done / sampleBytes);
}

/// The fractions of four words. There is no conversion from unsigned words: they are moved into the signed range
/// and, exactly, back.
DATAIO_AVX2 __m128 fractionsOf(__m128i words)
{
    const __m128i lowered = _mm_xor_si128(words, _mm_set1_epi32(static_cast<int>(0x80000000U)));
    const __m256d numbers = _mm256_add_pd(_mm256_cvtepi32_pd(lowered), _mm256_set1_pd(0x1p31));
    // Times the reciprocal is several times faster than the quotient. Single doubles differ in their last bit, but no
    // word lies so near the middle between two floats that the fraction would: all 2^32 of them agree.
    return _mm256_cvtpd_ps(_mm256_mul_pd(numbers, _mm256_set1_pd(1 / largestWord)));
}

/// Converts whole vectors of words, their bytes first put in the order that `order` gives for each half; returns how
/// many words it took.
DATAIO_AVX2 std::size_t convertVectors(const char* words, std::size_t count, __m256i order, float* out)
{
    constexpr std::size_t wordsPerVector = vectorBytes / 4;
    std::size_t done = 0;
    for (; done + wordsPerVector <= count; done += wordsPerVector) {
        const __m256i ordered = _mm256_shuffle_epi8(load(words + done * 4), order);
        const __m128 low = fractionsOf(_mm256_castsi256_si128(ordered));
        const __m128 high = fractionsOf(_mm256_extracti128_si256(ordered, 1));
        _mm_storeu_ps(out + done, low);
        _mm_storeu_ps(out + done + wordsPerVector / 2, high);
    }
    return done;
}

DATAIO_AVX2 __m256i keepingOrder()
{
    return _mm256_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, //
                            0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
}

} // namespace

DATAIO_AVX2 void swap16(const char* source, char* target, std::size_t samples)
{
    swapSamples(source, target, samples, 2, reversing16(), portable::swap16);
}

DATAIO_AVX2 void swap32(const char* source, char* target, std::size_t samples)
{
    swapSamples(source, target, samples, 4, reversing32(), portable::swap32);
}

DATAIO_AVX2 void wordsToFractions(const char* words, std::size_t count, bool swapped, float* out)
{
    const std::size_t done = convertVectors(words, count, swapped ? reversing32() : keepingOrder(), out);
    portable::wordsToFractions(words + done * 4, count - done, swapped, out + done);
}

} // namespace zd::detail::avx2

#else

namespace zd::detail::avx2 {

void swap16(const char* source, char* target, std::size_t samples)
{
    portable::swap16(source, target, samples);
}

void swap32(const char* source, char* target, std::size_t samples)
{
    portable::swap32(source, target, samples);
}

void wordsToFractions(const char* words, std::size_t count, bool swapped, float* out)
{
    portable::wordsToFractions(words, count, swapped, out);
}

} // namespace zd::detail::avx2

#endif
