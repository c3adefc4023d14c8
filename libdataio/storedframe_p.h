#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zd {

class MovieHeader;

/// What a reader makes of a payload in memory: samples and words turned into this machine's byte order, and frames filled up
/// to the size that their header claims.
class StoredFrame {
public:
    /// Bytes of the frame delivered last.
    std::int64_t size() const { return m_size; }
    void clear() { m_size = 0; }

    /// The samples of a frame of `size` bytes at `stored`: there, or in the buffer; null when the header does not say how
    /// many there are, or claims far more than the file holds.
    const void* deliver(const char* stored, std::int64_t size, MovieHeader& header);
    /// A frame of `size` bytes of which the first `filled` lie at `samples`: turns these in place, and `filled` becomes what
    /// they take then. False when such a frame has no size.
    bool deliverInto(char* samples, std::int64_t& filled, std::int64_t size, MovieHeader& header);
    /// The words of a payload as fractions, in the buffer.
    float* fractions(const char* words, std::size_t bytes, bool swapped);

private:
    const void* _padded(const char* stored, std::int64_t claimed);
    const void* _turned(const char* stored, std::int64_t held, int sampleBytes);

    std::vector<char> m_buffer; // of what is turned: valid until something is turned again
    std::vector<char> m_padded; // of a short frame, valid until the next chunk is read
    std::int64_t m_size = 0;
};

} // namespace zd
