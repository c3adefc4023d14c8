#include <movietools/splice/moviecut.h>

#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/attributerules.h>
#include <movietools/movie/movieoutput_p.h>
#include <movietools/splice/moviecopy_p.h>

#include <QFileInfo>

#include <algorithm>
#include <memory>

namespace zd::movietools {

namespace {

constexpr std::size_t mostParts = 500; // each is an open file until all are complete

MadeMovie make(MovieCopy& copy, const MovieTarget& target, const QStringList& inputs, const ProgressCallback& progress)
{
    MovieOutput output(target.path, target.replace, inputs);
    Progress done;
    done.framesTotal = copy.frames();
    copy.write(output.file(), done, progress);
    output.commit();
    return {output.path(), copy.frames(), copy.bytes()};
}

void requireAscending(const MovieSource& movie, const std::vector<unsigned>& frames)
{
    if (movie.times().empty() || std::is_sorted(frames.begin(), frames.end()))
        return;
    refuse(movie.path(), QStringLiteral("keeps its frames in order of time"),
           QStringLiteral("name the frames in ascending order"));
}

// -------- join

QString valueOf(const AttributeChunk& header, const QString& name)
{
    QString value;
    return header.get(name, value) ? value : QString();
}

void requireSamePictures(const MovieSource& first, const MovieSource& other)
{
    for (const QLatin1StringView& name :
         {layout::key::width, layout::key::height, layout::key::pixType, layout::key::pixBits, layout::key::endian}) {
        const QString wanted = valueOf(first.header(), name);
        const QString found = valueOf(other.header(), name);
        if (wanted != found)
            refuse(other.path(),
                   QStringLiteral("has frames of %1 \"%2\", and those of %3 have \"%4\"")
                       .arg(name, found, first.path(), wanted),
                   QStringLiteral("only frames of one kind fit into a movie"));
    }
}

void requireLaterTimes(const MovieSource& before, const MovieSource& movie)
{
    if (before.frames() == 0 || movie.frames() == 0)
        return;
    const bool isTimed = !before.times().empty();
    if (isTimed != !movie.times().empty() || (isTimed && before.times().size() < before.frames()))
        refuse(movie.path(), QStringLiteral("or %1 has no time for every frame").arg(before.path()),
               QStringLiteral("join movies that have times, or movies that have none"));
    if (isTimed && movie.times().front() < before.times().back())
        refuse(movie.path(), QStringLiteral("begins before %1 ends").arg(before.path()),
               QStringLiteral("name the movies in order of time; movies keep their times in order"));
}

QStringList differingAttributes(const AttributeChunk& first, const AttributeChunk& other)
{
    QStringList names;
    for (const auto& [name, value] : other.attributes())
        if (name != checksumAttribute && valueOf(first, name) != value.text())
            names.append(name);
    return names;
}

std::vector<QByteArray> otherPayloads(const MovieSource& movie)
{
    std::vector<QByteArray> payloads;
    for (const ChunkExtent& chunk : movie.otherChunks())
        payloads.push_back(movie.payload(chunk));
    return payloads;
}

QStringList lossesOf(const MovieSource& first, const MovieSource& other)
{
    QStringList losses;
    const QStringList names = differingAttributes(first.header(), other.header());
    if (!names.isEmpty())
        losses.append(QStringLiteral("%1: left out what differs in the header: %2")
                          .arg(other.path(), names.join(QStringLiteral(", "))));
    const std::vector<QByteArray> payloads = otherPayloads(other);
    if (!payloads.empty() && payloads != otherPayloads(first))
        losses.append(QStringLiteral("%1: left out its fibre centres or other data, which differ").arg(other.path()));
    return losses;
}

// -------- split

/// Decides where a part ends.
class Splitter {
public:
    Splitter(const MovieSource& movie, const PartLength& length)
        : m_movie(movie), m_length(length), m_empty(MovieCopy(movie).bytes() + sideDataFraming)
    {
    }

    /// The frames of the parts: of each the first one, and the end of the last.
    std::vector<unsigned> borders()
    {
        std::vector<unsigned> borders{0};
        std::uint64_t bytes = m_empty;
        for (unsigned frame = 0; frame < m_movie.frames(); ++frame) {
            const std::uint64_t more = MovieCopy::bytesOfFrame(m_movie.frameSize(frame));
            requireFits(frame, more);
            if (frame > borders.back() && isFull(borders.back(), frame, bytes + more)) {
                borders.push_back(frame);
                bytes = m_empty;
            }
            bytes += more;
        }
        borders.push_back(m_movie.frames());
        return borders;
    }

private:
    // The chunks of times and laser powers and their records in the index.
    static constexpr std::uint64_t sideDataFraming =
        2 * static_cast<std::uint64_t>(layout::framingBytes + layout::indexRecordBytes);

    void requireFits(unsigned frame, std::uint64_t bytes) const
    {
        if (m_length.bytes && m_empty + bytes > *m_length.bytes)
            refuse(m_movie.path(),
                   QStringLiteral("needs %1 bytes for a movie of frame %2 alone").arg(m_empty + bytes).arg(frame),
                   QStringLiteral("allow longer parts"));
    }

    // Whether the part that begins at `first` is complete before `frame`, with which it would have `bytes`.
    bool isFull(unsigned first, unsigned frame, std::uint64_t bytes) const
    {
        if (m_length.frames && frame - first >= *m_length.frames)
            return true;
        if (m_length.bytes && bytes > *m_length.bytes)
            return true;
        return m_length.time && frame < m_movie.times().size() && stretchOf(first) != stretchOf(frame);
    }

    // In which of the stretches of time a frame lies.
    std::int64_t stretchOf(unsigned frame) const
    {
        const FrameTimer& times = m_movie.times();
        return (microseconds(times[frame]) - microseconds(times.front())) / *m_length.time;
    }

    const MovieSource& m_movie;
    const PartLength& m_length;
    const std::uint64_t m_empty;
};

QString partPath(const QString& path, std::size_t part, std::size_t parts)
{
    const QFileInfo file(path);
    const QString suffix = file.suffix().isEmpty() ? QString() : QLatin1Char('.') + file.suffix();
    const auto digits = static_cast<int>(QString::number(parts).size());
    return path.chopped(suffix.size()) + QStringLiteral("-%1").arg(part + 1, digits, 10, QLatin1Char('0')) + suffix;
}

void requireParts(const QString& path, std::size_t parts)
{
    if (parts > mostParts)
        refuse(path, QStringLiteral("would give %1 parts").arg(parts),
               QStringLiteral("make longer parts, at most %1 of them").arg(mostParts));
}

} // namespace

MadeMovie cutMovie(const QString& movie, const FrameSelection& frames, const MovieTarget& target,
                   const ProgressCallback& progress)
{
    const MovieSource source(movie);
    QString problem;
    const std::vector<unsigned> chosen = frames.resolve(source.frames(), source.times(), problem);
    if (chosen.empty())
        refuse(movie, problem, QStringLiteral("see the frames with vqf frames"));
    requireAscending(source, chosen);
    MovieCopy copy(source);
    for (const unsigned frame : chosen)
        copy.add(source, frame);
    return make(copy, target, {movie}, progress);
}

JoinResult joinMovies(const QStringList& movies, const MovieTarget& target, const ProgressCallback& progress)
{
    std::vector<std::unique_ptr<MovieSource>> sources;
    JoinResult result;
    for (const QString& movie : movies) {
        sources.push_back(std::make_unique<MovieSource>(movie));
        if (sources.size() == 1)
            continue;
        requireSamePictures(*sources.front(), *sources.back());
        requireLaterTimes(**(sources.end() - 2), *sources.back());
        result.losses += lossesOf(*sources.front(), *sources.back());
    }
    MovieCopy copy(*sources.front());
    for (const auto& source : sources)
        for (unsigned frame = 0; frame < source->frames(); ++frame)
            copy.add(*source, frame);
    result.made = make(copy, target, movies, progress);
    return result;
}

std::vector<MadeMovie> splitMovie(const QString& movie, const PartLength& length, const MovieTarget& target,
                                  const ProgressCallback& progress)
{
    const MovieSource source(movie);
    if (length.time && source.times().size() < source.frames())
        refuse(movie, QStringLiteral("has no time for every frame"),
               QStringLiteral("split it by the number of frames"));
    const std::vector<unsigned> borders = Splitter(source, length).borders();
    const std::size_t parts = borders.size() - 1;
    requireParts(movie, parts);
    Progress done;
    done.framesTotal = source.frames();
    std::vector<MovieCopy> copies;
    std::vector<std::unique_ptr<MovieOutput>> outputs;
    for (std::size_t part = 0; part < parts; ++part)
        outputs.push_back(
            std::make_unique<MovieOutput>(partPath(target.path, part, parts), target.replace, QStringList{movie}));
    for (std::size_t part = 0; part < parts; ++part) {
        MovieCopy& copy = copies.emplace_back(source);
        for (unsigned frame = borders[part]; frame < borders[part + 1]; ++frame)
            copy.add(source, frame);
        copy.write(outputs[part]->file(), done, progress);
    }
    std::vector<MadeMovie> made;
    for (std::size_t part = 0; part < parts; ++part) {
        outputs[part]->commit();
        made.push_back({outputs[part]->path(), copies[part].frames(), copies[part].bytes()});
    }
    return made;
}

} // namespace zd::movietools
