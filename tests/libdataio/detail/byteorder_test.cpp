#include <libdataio/detail/avx2_p.h>
#include <libdataio/detail/byteorder_p.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace zd::detail {

namespace {

/// One way to do the operations; all of them must give the same bytes.
struct Path {
    const char* name;
    void (*swap16)(const char*, char*, std::size_t);
    void (*swap32)(const char*, char*, std::size_t);
    void (*wordsToFractions)(const char*, std::size_t, bool, float*);
};

std::vector<Path> paths()
{
    std::vector<Path> all{{"chosen", swap16, swap32, wordsToFractions},
                          {"portable", portable::swap16, portable::swap32, portable::wordsToFractions}};
    if (avx2::available())
        all.push_back({"avx2", avx2::swap16, avx2::swap32, avx2::wordsToFractions});
    return all;
}

std::string reversedSamples(std::string bytes, std::size_t sampleBytes)
{
    for (auto sample = bytes.begin(); sample != bytes.end(); sample += static_cast<std::ptrdiff_t>(sampleBytes))
        std::reverse(sample, sample + static_cast<std::ptrdiff_t>(sampleBytes));
    return bytes;
}

/// Swaps at every alignment, apart and in place, with watched bytes around the target.
void expectSwaps(void (*swap)(const char*, char*, std::size_t), std::size_t sampleBytes, std::size_t samples)
{
    const std::size_t bytes = samples * sampleBytes;
    std::string source(bytes + 64, '\0');
    std::mt19937 random(static_cast<unsigned int>(samples));
    std::generate(source.begin(), source.end(), [&random] { return static_cast<char>(random()); });
    for (std::size_t shift = 0; shift < 33; ++shift) {
        const std::size_t sourceShift = (shift * 7) % 32;
        const std::string expected = reversedSamples(source.substr(sourceShift, bytes), sampleBytes);
        std::string target(bytes + 64, '.');
        swap(source.data() + sourceShift, target.data() + shift, samples);
        ASSERT_EQ(target, std::string(shift, '.') + expected + std::string(64 - shift, '.')) << samples;

        std::string inPlace = source;
        swap(inPlace.data() + sourceShift, inPlace.data() + sourceShift, samples);
        ASSERT_EQ(inPlace.substr(sourceShift, bytes), expected) << samples;
        ASSERT_EQ(inPlace.substr(sourceShift + bytes), source.substr(sourceShift + bytes)) << samples;
    }
}

std::vector<std::uint32_t> awkwardWords()
{
    std::vector<std::uint32_t> words{0, 1, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFE, 0xFFFFFFFF};
    for (std::uint64_t word = 0; word <= 0xFFFFFFFF; word += 4099)
        words.push_back(static_cast<std::uint32_t>(word));
    // Around the middles between neighbouring floats, where rounding decides.
    for (std::uint64_t middle = 0x80000080; middle <= 0xFFFFFFFF; middle += 0x100 * 251) {
        for (const std::uint64_t word : {middle - 1, middle, middle + 1})
            words.push_back(static_cast<std::uint32_t>(word));
    }
    return words;
}

} // namespace

TEST(ByteOrder, ReversesSamplesAtAnyAlignmentAndLength)
{
    EXPECT_EQ(reversedSamples("1234", 2) + reversedSamples("1234", 4), "21434321");
    for (const Path& path : paths()) {
        SCOPED_TRACE(path.name);
        for (const unsigned int samples : {0U, 1U, 2U, 7U, 15U, 16U, 17U, 31U, 32U, 33U, 47U, 48U, 64U, 65U, 200U}) {
            ASSERT_NO_FATAL_FAILURE(expectSwaps(path.swap16, 2, samples));
            ASSERT_NO_FATAL_FAILURE(expectSwaps(path.swap32, 4, samples));
        }
        path.swap16(nullptr, nullptr, 0);
        path.swap32(nullptr, nullptr, 0);
    }
}

TEST(ByteOrder, ConvertsWordsToTheNearestFractions)
{
    const std::vector<std::uint32_t> words = awkwardWords();
    const std::string stored(reinterpret_cast<const char*>(words.data()), words.size() * 4);
    const std::string turned = std::string("?").append(reversedSamples(stored, 4));
    for (const Path& path : paths()) {
        SCOPED_TRACE(path.name);
        std::vector<float> fractions(words.size());
        std::vector<float> fromTurned(words.size());
        path.wordsToFractions(stored.data(), words.size(), false, fractions.data());
        path.wordsToFractions(turned.data() + 1, words.size(), true, fromTurned.data());
        EXPECT_EQ(fractions[3], 0.5F);
        EXPECT_EQ(fractions[6], 1.0F);
        EXPECT_EQ(fromTurned, fractions);
        for (std::size_t i = 0; i < words.size(); ++i)
            ASSERT_EQ(fractions[i], static_cast<float>(words[i] / 4294967295.0)) << words[i];

        for (std::size_t count = 0; count < 40; ++count) {
            std::vector<float> inPlace(40, -7.0F);
            std::memcpy(inPlace.data(), words.data(), 4 * count);
            path.wordsToFractions(reinterpret_cast<const char*>(inPlace.data()), count, false, inPlace.data());
            ASSERT_TRUE(
                std::equal(inPlace.begin(), inPlace.begin() + static_cast<std::ptrdiff_t>(count), fractions.begin()));
            ASSERT_EQ(std::count(inPlace.begin(), inPlace.end(), -7.0F), static_cast<std::ptrdiff_t>(40 - count));
        }
    }
}

} // namespace zd::detail
