#pragma once

#include <libdataio/chunkinfo.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <movietools/files/bytesource.h>
#include <movietools/movie/checksum.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace zd::movietools {

/// A chunk of a movie as it lies on disk, headers included.
struct ChunkExtent {
    std::uint32_t type;
    ChunkRecord record;

    std::int64_t offset() const { return record.offset; }
    std::int64_t length() const { return std::int64_t{record.length} + layout::framingBytes; }
};

/// A closed movie as the jobs see it that carry frames into other movies, byte by byte.
class MovieSource {
public:
    /// Throws JobError.
    explicit MovieSource(const QString& path);

    const QString& path() const { return m_path; }
    const FileBytes& bytes() const { return m_bytes; }
    /// Without the times that older movies keep there.
    const AttributeChunk& header() const { return m_header; }
    unsigned frames() const { return static_cast<unsigned>(m_frames.size()); }
    /// Frame `index`, with both of its headers checked. Throws JobError when it is not where the index says.
    ChunkExtent frame(unsigned index) const;
    std::uint32_t frameSize(unsigned index) const { return m_frames[index].length; }
    /// Those of the first frames; fewer than frames, or none.
    const FrameTimer& times() const { return m_times; }
    /// One stored byte a frame, or empty.
    const QByteArray& laserPowers() const { return m_laserPowers; }
    /// Fibre centres and chunks that the library does not use, checked as frames are; fibre centres come last.
    std::vector<ChunkExtent> otherChunks() const;
    QByteArray payload(const ChunkExtent& chunk) const;
    /// The checksum of a frame, when the movie has checksums that fit it.
    std::optional<std::uint32_t> checksum(unsigned frame) const;

private:
    ChunkExtent checked(std::uint32_t type, const ChunkRecord& record) const;
    void loadChecksums();

    QString m_path;
    FileBytes m_bytes;
    ChunkInfo m_info;
    AttributeChunk m_header;
    std::vector<ChunkRecord> m_frames;
    FrameTimer m_times;
    QByteArray m_laserPowers;
    std::vector<std::uint32_t> m_checksums; // of the frames, in their order
};

} // namespace zd::movietools
