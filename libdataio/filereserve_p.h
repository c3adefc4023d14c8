#pragma once

#include <cstdint>

namespace zd {

/// Room on the disk that a growing file holds beyond its end, so that it grows fast and stays in few pieces. The
/// file's length never shows it. A help only: where the file system does not go along, nothing is reserved.
class FileReserve {
public:
    /// Reserves at least this much at a time.
    static constexpr std::int64_t step = 64 << 20;
    /// A file that ends before this is not worth a reserve.
    static constexpr std::int64_t smallestFile = 4 << 20;
    /// A disk with less room than this is left alone: others need it too.
    static constexpr std::int64_t smallestRoom = 16 * step;

    /// Is told of every write before it begins; reserves when the file is about to grow beyond what is there.
    void prepare(int fd, std::int64_t start, std::int64_t end)
    {
        if (end > m_end && end > smallestFile && m_useful)
            _grow(fd, start, end);
    }
    /// Reserves exactly `bytes` at `start`. Returns the error that prevents it, 0 for none.
    int demand(int fd, std::int64_t start, std::int64_t bytes);
    /// The file was cut at `end`; the system dropped what lay beyond.
    void cutAt(std::int64_t end);
    /// Gives back what the file does not hold, as far as the system lets it. Before the descriptor is closed.
    void giveBack(int fd);

private:
    void _grow(int fd, std::int64_t start, std::int64_t end);

    bool m_useful = true;   // whether the file system goes along
    bool m_held = false;    // blocks beyond the end may be reserved
    std::int64_t m_end = 0; // up to here the file needs no reserve
};

} // namespace zd
