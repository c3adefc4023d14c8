#pragma once

#include <recording/recordedframe.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace zd {

/// Which frames were dropped, in bounded memory that is there from the start. Used by any thread.
class DropRecord {
public:
    /// Ranges beyond this many are counted, not kept.
    static constexpr std::size_t mostRanges = 4096;

    DropRecord() { m_ranges.reserve(mostRanges); }

    void add(std::int64_t number);
    std::int64_t count() const;
    std::vector<FrameRange> ranges() const;
    /// The ranges as "3,17-20".
    QString text() const;

private:
    mutable std::mutex m_mutex;
    std::vector<FrameRange> m_ranges;
    std::int64_t m_count = 0;
};

} // namespace zd
