#pragma once

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace zd::test {

inline constexpr int pictureWidth = 40;
inline constexpr int pictureHeight = 25;
inline constexpr std::size_t pictureBytes = std::size_t{2} * pictureWidth * pictureHeight;

/// The samples of frame `number`: 16-bit words of its own.
inline std::string picture(std::int64_t number)
{
    std::string samples(pictureBytes, '\0');
    for (std::size_t i = 0; i < pictureBytes; i += 2) {
        const auto word = static_cast<std::uint16_t>(number * 7919 + static_cast<std::int64_t>(i));
        std::memcpy(samples.data() + i, &word, 2);
    }
    return samples;
}

inline std::vector<std::string> pictures(std::int64_t first, std::int64_t end)
{
    std::vector<std::string> all;
    for (std::int64_t number = first; number < end; ++number)
        all.push_back(picture(number));
    return all;
}

/// The values that every movie here has.
inline void giveHeader(ImageWriter& movie)
{
    movie.width(pictureWidth);
    movie.height(pictureHeight);
    movie.pixType(ZD_USHORT);
}

/// The code that an operation reports; empty when it reports nothing.
template <typename Operation>
std::string reportedBy(Operation operation)
{
    try {
        operation();
    } catch (const IOFileException& failure) {
        return failure.code().toStdString();
    }
    return {};
}

} // namespace zd::test
