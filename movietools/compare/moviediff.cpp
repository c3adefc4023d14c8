#include <movietools/compare/moviediff.h>

#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/compare/samplediff_p.h>
#include <movietools/files/bytesource.h>
#include <movietools/frames/framelayout.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/job/wording.h>
#include <movietools/movie/moviecontent_p.h>
#include <movietools/movie/movieedit.h>
#include <movietools/movie/movieindex.h>

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <set>

namespace zd::movietools {

namespace {

using Item = MovieDifferences::Item;

/// One of the two movies.
struct Side {
    explicit Side(const QString& name) : path(name), bytes(name), info(readMovieInfo(name))
    {
        openMovie(movie, path);
        movie.width(width);
        movie.height(height);
        type = sampleType(movie);
    }

    QByteArray payload(const ChunkRecord& record) const
    {
        return bytes.bytes(record.offset + layout::headerBytes, record.length);
    }
    // The stored words of the fibre centres, in this machine's byte order.
    std::vector<std::uint32_t> fiberWords()
    {
        const std::vector<ChunkRecord>& records = recordsOf(info, ZD_FIBER_CENTERS_CHUNK);
        const QByteArray payload = records.empty() ? QByteArray() : this->payload(records.front());
        std::vector<std::uint32_t> words(static_cast<std::size_t>(payload.size() / layout::fiberWordBytes));
        const bool swapped = layout::needsSwapping(movie.endian());
        for (std::size_t i = 0; i < words.size(); ++i) {
            const char* word = payload.constData() + i * layout::fiberWordBytes;
            words[i] = swapped ? qFromBigEndian<quint32>(word) : qFromLittleEndian<quint32>(word);
        }
        return words;
    }

    QString path;
    FileBytes bytes;
    ChunkInfo info;
    ImageReader movie;
    int width = 0;
    int height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
};

std::optional<QString> textOf(const AttributeChunk& header, const QString& name)
{
    QString value;
    return header.get(name, value) ? std::optional<QString>(value) : std::nullopt;
}

/// One comparison, from the headers to the last frame.
class Comparison {
public:
    Comparison(const QString& a, const QString& b, const ProgressCallback& progress)
        : m_a(a), m_b(b), m_progress(progress)
    {
    }

    MovieDifferences run()
    {
        compareAttributes();
        comparePictures();
        compareTimes();
        compareLaserPowers();
        compareFibers();
        compareOtherChunks();
        compareFrames();
        return m_result;
    }

private:
    void compareAttributes();
    void comparePictures();
    void compareCounts(const QString& name, std::size_t a, std::size_t b);
    void compareTimes();
    void compareLaserPowers();
    void compareFibers();
    void compareOtherChunks();
    void compareFrames();
    void compareFrame(unsigned frame);
    const char* readFrame(Side& side, unsigned frame) const;

    Side m_a;
    Side m_b;
    const ProgressCallback& m_progress;
    MovieDifferences m_result;
};

void Comparison::compareAttributes()
{
    std::set<QString> names;
    for (const AttributeChunk* header : {&m_a.info, &m_b.info})
        for (const auto& [name, value] : header->attributes())
            names.insert(name);
    for (const QString& name : names) {
        const Item item{name, textOf(m_a.info, name), textOf(m_b.info, name)};
        if (item.a != item.b)
            m_result.attributes.push_back(item);
    }
}

void Comparison::comparePictures()
{
    const QString a = pictureText(m_a.width, m_a.height, m_a.type);
    const QString b = pictureText(m_b.width, m_b.height, m_b.type);
    m_result.picturesMatch = m_a.width == m_b.width && m_a.height == m_b.height && m_a.type == m_b.type;
    if (!m_result.picturesMatch)
        m_result.structure.push_back({QStringLiteral("picture"), a, b});
    compareCounts(QStringLiteral("frames"), static_cast<std::size_t>(m_a.movie.nbFrames()),
                  static_cast<std::size_t>(m_b.movie.nbFrames()));
}

void Comparison::compareCounts(const QString& name, std::size_t a, std::size_t b)
{
    if (a != b)
        m_result.structure.push_back({name, QString::number(a), QString::number(b)});
}

void Comparison::compareTimes()
{
    const FrameTimer& a = m_a.movie.getFrameTimer();
    const FrameTimer& b = m_b.movie.getFrameTimer();
    compareCounts(QStringLiteral("times"), a.size(), b.size());
    m_result.times.compared = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < m_result.times.compared; ++i)
        if (a[i] != b[i])
            m_result.times.add(i, std::fabs(static_cast<double>(microseconds(a[i]) - microseconds(b[i]))) / 1e6);
}

void Comparison::compareLaserPowers()
{
    const auto count = [](const Side& side) {
        const std::vector<ChunkRecord>& records = recordsOf(side.info, ZD_LASER_POWER_CHUNK);
        return records.empty() ? std::size_t{0} : std::size_t{records.front().length};
    };
    compareCounts(QStringLiteral("laser powers"), count(m_a), count(m_b));
    m_result.laserPowers.compared = std::min(count(m_a), count(m_b));
    for (unsigned i = 0; i < m_result.laserPowers.compared; ++i) {
        float a = -1;
        float b = -1;
        const bool known = int{m_a.movie.getLaserPower(i, a)} + int{m_b.movie.getLaserPower(i, b)} == 2;
        if (a != b)
            m_result.laserPowers.add(i, known ? std::fabs(double{a} - double{b}) : std::nan(""));
    }
}

void Comparison::compareFibers()
{
    const std::vector<std::uint32_t> a = m_a.fiberWords();
    const std::vector<std::uint32_t> b = m_b.fiberWords();
    compareCounts(QStringLiteral("fibres"), a.size() / 2, b.size() / 2);
    m_result.fibers.compared = std::min(a.size(), b.size()) / 2;
    for (std::size_t i = 0; i < 2 * m_result.fibers.compared; ++i) {
        const auto pixels = [i](const Side& side, std::uint32_t word) {
            return double{layout::decodeFiberWord(word, i % 2 == 0 ? side.width : side.height)};
        };
        if (a[i] != b[i])
            m_result.fibers.add(i / 2, std::fabs(pixels(m_a, a[i]) - pixels(m_b, b[i])));
    }
}

// Chunks that the library does not use are compared byte by byte.
void Comparison::compareOtherChunks()
{
    std::set<std::uint32_t> types;
    for (const ChunkIndex* index : {&m_a.info, &m_b.info})
        for (const auto& [type, records] : *index)
            if (type != ZD_FRAME_CHUNK && !isSideData(type))
                types.insert(type);
    for (const std::uint32_t type : types) {
        const std::vector<ChunkRecord>& a = recordsOf(m_a.info, static_cast<int>(type));
        const std::vector<ChunkRecord>& b = recordsOf(m_b.info, static_cast<int>(type));
        compareCounts(chunkText(type), a.size(), b.size());
        for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
            if (m_a.payload(a[i]) != m_b.payload(b[i]))
                m_result.structure.push_back({QStringLiteral("bytes of %1 %2").arg(chunkText(type)).arg(i),
                                              sizeText(a[i].length), sizeText(b[i].length)});
    }
}

void Comparison::compareFrames()
{
    m_result.framesCompared = static_cast<std::uint64_t>(std::min(m_a.movie.nbFrames(), m_b.movie.nbFrames()));
    Progress done;
    done.framesTotal = m_result.framesCompared;
    for (unsigned frame = 0; frame < m_result.framesCompared; ++frame) {
        report(m_progress, done);
        compareFrame(frame);
        ++done.framesDone;
        done.bytesDone += static_cast<std::uint64_t>(m_a.movie.frameSize());
    }
    report(m_progress, done);
}

void Comparison::compareFrame(unsigned frame)
{
    const char* a = readFrame(m_a, frame);
    const char* b = readFrame(m_b, frame);
    const auto sizeA = static_cast<std::size_t>(m_a.movie.frameSize());
    const auto sizeB = static_cast<std::size_t>(m_b.movie.frameSize());
    const SampleComparison compared{m_a.type, static_cast<std::uint64_t>(m_a.width), frame};
    const bool isSame = m_result.picturesMatch ? compared.compare(a, b, std::min(sizeA, sizeB), m_result)
                                               : sizeA == sizeB && std::equal(a, a + sizeA, b);
    if (isSame && sizeA == sizeB)
        return;
    ++m_result.framesDiffering;
    if (!m_result.firstFrame)
        m_result.firstFrame = frame;
}

const char* Comparison::readFrame(Side& side, unsigned frame) const
{
    const void* data = nullptr;
    try {
        if (side.movie.getFrame(data, frame) && data != nullptr)
            return static_cast<const char*>(data);
    } catch (const IOFileException& failure) {
        JobError error = jobError(failure, side.path);
        error.problem = QStringLiteral("frame %1 cannot be read: %2").arg(frame).arg(error.problem);
        throw error;
    }
    refuse(side.path, QStringLiteral("frame %1 cannot be read").arg(frame),
           QStringLiteral("the movie is damaged: see vqf verify"));
}

} // namespace

MovieDifferences compareMovies(const QString& a, const QString& b, const ProgressCallback& progress)
{
    return Comparison(a, b, progress).run();
}

} // namespace zd::movietools
