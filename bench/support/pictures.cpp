#include <bench/support/pictures.h>

#include <cstring>
#include <random>

namespace zd::bench {

Pictures::Pictures(std::size_t bytes)
{
    std::mt19937_64 random(bytes);
    for (std::size_t i = 0; i < count; ++i) {
        std::vector<char>& picture = m_pictures.emplace_back(bytes);
        for (std::size_t at = 0; at + sizeof(std::uint64_t) <= bytes; at += sizeof(std::uint64_t)) {
            const std::uint64_t word = random();
            std::memcpy(picture.data() + at, &word, sizeof word);
        }
        m_sums.push_back(touch(picture.data(), bytes));
    }
}

std::uint64_t touch(const void* frame, std::size_t bytes)
{
    constexpr std::size_t line = 64;
    const char* at = static_cast<const char*>(frame);
    std::uint64_t sum = 0;
    for (std::size_t offset = 0; offset + line <= bytes; offset += line) {
        std::uint64_t word;
        std::memcpy(&word, at + offset, sizeof word);
        sum += word;
    }
    return sum;
}

} // namespace zd::bench
