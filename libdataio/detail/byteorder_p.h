#pragma once

#include <cstddef>

/// Turns samples round whose file has the other byte order, and words into fractions.
///
/// Sources and targets need no alignment beyond their type's. A target may begin where its source does, but must
/// not overlap it otherwise. Pointers may be null for 0 samples.
namespace zd::detail {

/// What the largest word stands for is 1.
inline constexpr double largestWord = 4294967295.0;

/// Copies `samples` values of 2 or 4 bytes with the bytes of each reversed.
void swap16(const char* source, char* target, std::size_t samples);
void swap32(const char* source, char* target, std::size_t samples);

/// Converts `count` unsigned 32-bit words, reversed first when `swapped`, to the floats nearest to
/// word / 4294967295, the quotient taken in double precision.
void wordsToFractions(const char* words, std::size_t count, bool swapped, float* out);

/// The same operations for any processor.
namespace portable {
void swap16(const char* source, char* target, std::size_t samples);
void swap32(const char* source, char* target, std::size_t samples);
void wordsToFractions(const char* words, std::size_t count, bool swapped, float* out);
} // namespace portable

/// The same, bit for bit, by 32-byte vectors: to be called only where they are available.
namespace avx2 {
void swap16(const char* source, char* target, std::size_t samples);
void swap32(const char* source, char* target, std::size_t samples);
void wordsToFractions(const char* words, std::size_t count, bool swapped, float* out);
} // namespace avx2

} // namespace zd::detail
