#pragma once

#include <libdataio/imagereader.h>
#include <movietools/frames/frameselection.h>
#include <movietools/frames/pageformat.h>
#include <movietools/job/lostframe.h>
#include <movietools/movie/moviedescription.h>

#include <QString>

#include <vector>

namespace zd::movietools {

/// The frames that a job takes from a movie. Throws JobError.
class ChosenFrames {
public:
    /// Opens the movie, which must say what its frames are and have those that are chosen.
    ChosenFrames(const QString& path, const FrameSelection& selection);

    ImageReader& movie() { return m_movie; }
    /// What belongs to the frames that are not lost.
    MovieDescription describe(bool withFiberCenters);
    const FrameTimer& times() const { return m_movie.getFrameTimer(); } ///< of the movie, by frame
    const PageFormat& format() const { return m_format; }
    const std::vector<unsigned>& frames() const { return m_frames; } ///< those that are not lost, in order

    /// The pixels of a frame in this machine's byte order, `format().frameBytes()` bytes, borrowed until the next call;
    /// null, with the frame lost, when they are not all there.
    const void* read(unsigned frame);
    /// Leaves out the frames that turned out to be lost. Throws when none is left.
    void dropLost();
    /// What was found lost, each once.
    const std::vector<LostFrame>& lost() const { return m_lost; }

private:
    std::vector<float> readFiberCenters();
    const void* lose(unsigned frame, const QString& reason);
    void note(unsigned frame, const QString& reason);

    QString m_path;
    ImageReader m_movie;
    std::vector<ChunkRecord> m_records;
    PageFormat m_format;
    std::vector<unsigned> m_frames;
    std::vector<LostFrame> m_lost;
    std::vector<bool> m_noted;   // by frame
    std::vector<bool> m_missing; // by frame
};

} // namespace zd::movietools
