#pragma once

#include <movietools/files/outputfile.h>
#include <movietools/job/progress.h>
#include <movietools/splice/moviesource_p.h>

#include <vector>

namespace zd::movietools {

/// A movie made of frames of other movies, which must outlive it. The chunks are copied as they lie on disk; times,
/// laser powers and checksums follow their frames.
class MovieCopy {
public:
    /// A movie with the header, fibre centres and other chunks of `like`, and no frames yet. Throws JobError.
    explicit MovieCopy(const MovieSource& like);

    AttributeChunk& header() { return m_header; }
    /// Leaves out the chunks that the library does not use.
    void dropUnusedChunks();
    /// Appends a frame. When movies keep times, frames with a time come first and in order of time. Throws JobError.
    void add(const MovieSource& source, unsigned frame);

    /// Makes the first of the frames' times 1970-01-01 00:00:00 UTC, and the others as much earlier.
    void makeTimesRelative();

    unsigned frames() const { return m_frames; }
    std::uint64_t bytes() const; ///< length of the file
    /// How much longer one more frame would make it.
    static std::uint64_t bytesOfFrame(std::uint32_t size);

    /// Writes the movie and looks at what was written. Nothing is named yet. Throws JobError, also for a movie that
    /// would be too long for the format, and JobCancelled. `done` goes on from where it is.
    void write(const OutputFile& output, Progress& done, const ProgressCallback& progress);

private:
    struct CopiedChunk {
        const MovieSource* source;
        ChunkExtent extent;
    };
    struct NewChunk {
        std::uint32_t type;
        QByteArray payload;
    };

    void copyChunks(const OutputFile& output, Progress& done, const ProgressCallback& progress) const;
    void appendTail(const OutputFile& output);
    void check(const OutputFile& output) const;
    std::vector<NewChunk> newSideData() const;
    void setChecksums(const std::vector<NewChunk>& sideData);

    AttributeChunk m_header;
    std::vector<CopiedChunk> m_chunks;
    std::vector<CopiedChunk> m_behindFrames; // fibre centres and chunks that the library does not use
    unsigned m_frames = 0;
    FrameTimer m_times;
    QByteArray m_laserPowers;
    bool m_hasLaserPowers = false;
    bool m_hasChecksums = true;
    MovieChecksums m_checksums;
};

/// A time as movies store it.
QByteArray storedTime(const timeval& time);

} // namespace zd::movietools
