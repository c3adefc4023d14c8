#pragma once

#include <libdataio/attributechunk.h>
#include <libdataio/filereader.h>

#include <QString>

#include <cstdint>
#include <vector>

namespace zd {

/// A movie without an end, since it is being recorded or its recording died: the frames that are complete, and what was
/// kept of the header beside them.
class GrowingPart {
public:
    explicit GrowingPart(const QString& path);

    /// Looks for more frames; how many there are.
    std::int64_t refresh();
    std::int64_t frames() const { return static_cast<std::int64_t>(m_offsets.size()); }
    const AttributeChunk& header() const { return m_header; }
    /// Borrowed until the next call; null when the frame cannot be read.
    const void* frame(std::int64_t index);
    std::int64_t frameSize() const { return m_frameSize; }

private:
    void _loadHeader();

    const QString m_path;
    FileReader m_file;
    AttributeChunk m_header;
    std::vector<int> m_offsets;
    std::int64_t m_end = 0;       // of the last complete frame
    std::int64_t m_frameSize = 0; // of the one delivered last
};

} // namespace zd
