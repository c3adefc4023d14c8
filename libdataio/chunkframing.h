#pragma once

#include <cstdint>

/// Sizes and limits of the chunk container: a file is a sequence of chunks, each a payload between two headers.
namespace zd::layout {

/// Bytes of a start or end header, and of the two together.
inline constexpr std::int64_t headerBytes = 16;
inline constexpr std::int64_t framingBytes = 2 * headerBytes;

/// Longest file that every reader of the format opens, and the reach of the index's 32-bit offsets.
inline constexpr std::uint64_t commonSizeLimit = (std::uint64_t{1} << 31) - 1;
inline constexpr std::uint64_t largestSizeLimit = (std::uint64_t{1} << 32) - 1;

} // namespace zd::layout
