#pragma once

#include <libdataio/payloadbuffer.h>

#include <cstdint>
#include <span>

namespace zd {

/// A stretch of a file that is read in one call, ahead of small chunks that are stepped over in sequence.
///
/// It holds the bytes that the file had when it was filled; a change of the file since is not seen.
class ReadWindow {
public:
    /// No more is read at a time, and never more than twice what the sequence has stepped over.
    static constexpr std::int64_t size = 512 << 10;
    /// A chunk longer than this, with its headers, is better read on its own.
    static constexpr std::int64_t largestChunk = size / 8;
    /// What a sequence must have stepped over before it is trusted to go on.
    static constexpr int stepsBefore = 3;
    static constexpr std::int64_t bytesBefore = 4096;

    /// The bytes of the file from `position` on as far as the window holds them, `needed` or more; none when it
    /// does not hold so many. Reads ahead when the steps so far promise that it pays. Valid until the next call.
    std::span<const char> from(int fd, std::int64_t position, std::int64_t needed);
    /// A forward step went from `start` to `end`.
    void stepped(std::int64_t start, std::int64_t end);
    /// Length of the chunk last stepped over, headers included; 0 before any step of the sequence.
    std::int64_t lastChunk() const { return m_lastChunk; }
    /// The sequence ends, unless it goes on at `position`.
    void moveTo(std::int64_t position);
    void drop();

private:
    std::span<const char> _held(std::int64_t position) const;
    void _fill(int fd, std::int64_t position);

    int m_steps = 0;                   // forward steps, each from where the one before ended
    std::int64_t m_sequenceStart = -1; // where the first of them began
    std::int64_t m_sequenceEnd = -1;   // where the last of them ended
    std::int64_t m_lastChunk = 0;
    std::int64_t m_start = 0; // file offset of the first byte held
    std::int64_t m_count = 0; // bytes held
    PayloadBuffer m_bytes;
};

} // namespace zd
