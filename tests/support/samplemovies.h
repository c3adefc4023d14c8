#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Closed movies made by hand, to be damaged.
namespace zd::test {

/// 309 bytes: two frames of 4 x 2 samples of 16 bits, two times, the laser powers 0.5 and "not known".
std::string smallMovie();

/// Three frames of 4 x 2 samples of 16 bits with times, laser powers, four fibre centres, a bounding box, a palette of
/// three nodes and a comment of two lines.
std::string richMovie();

/// The two parts of a movie that say where everything is, and the two that hold what was recorded.
enum class Region {
    Headers, ///< of chunks
    Index,
    Attributes,
    Data, ///< pixels, times, laser powers
};
Region regionOfSmallMovie(std::size_t offset);

/// A 32-bit number in the small movie.
struct Field {
    std::size_t offset;
    bool bigEndian;
};
/// All numbers in its chunk headers and its index.
std::vector<Field> fieldsOfSmallMovie();
/// `movie` with another value in a field.
std::string withField(std::string movie, const Field& field, std::uint32_t value);

/// Values that make sizes, offsets and counts overflow, point to the wrong place or nearly fit.
extern const std::vector<std::uint32_t> hostileValues;

} // namespace zd::test
