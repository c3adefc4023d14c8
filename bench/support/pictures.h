#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zd::bench {

/// A handful of pictures that a movie shows in turn, as an instrument's ring of buffers would.
class Pictures {
public:
    explicit Pictures(std::size_t bytes);

    const void* at(int frame) const { return m_pictures[static_cast<std::size_t>(frame) % count].data(); }
    /// What `touch` gives for that frame.
    std::uint64_t sum(int frame) const { return m_sums[static_cast<std::size_t>(frame) % count]; }

private:
    static constexpr std::size_t count = 8;

    std::vector<std::vector<char>> m_pictures;
    std::vector<std::uint64_t> m_sums;
};

/// Brings every cache line of a frame into the processor: the sum of the first words of all lines.
std::uint64_t touch(const void* frame, std::size_t bytes);

} // namespace zd::bench
