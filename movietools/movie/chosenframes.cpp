#include <movietools/movie/chosenframes_p.h>

#include <common/iofileexception.h>
#include <movietools/frames/framelayout.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/movieedit.h>
#include <movietools/movie/movieindex.h>

namespace zd::movietools {

ChosenFrames::ChosenFrames(const QString& path, const FrameSelection& selection) : m_path(path)
{
    openMovie(m_movie, path);
    m_records = recordsOf(m_movie.index(), ZD_FRAME_CHUNK);
    m_format = frameFormat(m_movie, path, QStringLiteral("other programs need frames of a known size and type"));
    QString problem;
    m_frames = selection.resolve(static_cast<unsigned>(m_movie.nbFrames()), m_movie.getFrameTimer(), problem);
    if (m_frames.empty())
        refuse(m_path, problem, QStringLiteral("see the frames with vqf info"));
    m_noted.resize(m_records.size());
    m_missing.resize(m_records.size());
}

MovieDescription ChosenFrames::describe(bool withFiberCenters)
{
    MovieDescription description = movietools::describe(m_movie, m_frames);
    if (withFiberCenters)
        description.fiberCenters = readFiberCenters();
    return description;
}

// As they were given to the writer: the reader's own positions are rounded once more.
std::vector<float> ChosenFrames::readFiberCenters()
{
    std::vector<std::uint32_t> words;
    try {
        m_movie.getFiberWords(words);
    } catch (const IOFileException& failure) {
        throw jobError(failure, m_path);
    }
    requireFibers(m_movie, m_path, !words.empty());
    return layout::decodeFiberCenters(words, static_cast<int>(m_format.width), static_cast<int>(m_format.height));
}

const void* ChosenFrames::read(unsigned frame)
{
    // The reader fills up short frames that it turns into this machine's byte order: only the index tells them.
    const std::uint64_t stored = m_records[frame].length;
    const std::uint64_t needed = m_format.frameBytes();
    if (stored < needed)
        return lose(frame, QStringLiteral("has %1 of its %2 bytes").arg(stored).arg(needed));
    const void* pixels = nullptr;
    try {
        if (!m_movie.getFrame(pixels, frame) || static_cast<std::uint64_t>(m_movie.frameSize()) < needed)
            return lose(frame, QStringLiteral("is cut short or not where the movie's index says"));
    } catch (const IOFileException& failure) {
        return lose(frame, QStringLiteral("cannot be read: %1").arg(jobError(failure, m_path).problem));
    }
    if (stored > needed)
        note(frame, QStringLiteral("has %1 bytes beyond its picture").arg(stored - needed));
    return pixels;
}

const void* ChosenFrames::lose(unsigned frame, const QString& reason)
{
    m_missing[frame] = true;
    note(frame, reason);
    return nullptr;
}

void ChosenFrames::note(unsigned frame, const QString& reason)
{
    if (!m_noted[frame])
        m_lost.push_back({frame, reason});
    m_noted[frame] = true;
}

void ChosenFrames::dropLost()
{
    std::erase_if(m_frames, [this](unsigned frame) { return m_missing[frame]; });
    if (m_frames.empty())
        refuse(m_path,
               QStringLiteral("has no frame that can be read; frame %1 %2")
                   .arg(m_lost.front().frame)
                   .arg(m_lost.front().reason),
               QStringLiteral("the movie is damaged: use another copy"));
}

} // namespace zd::movietools
