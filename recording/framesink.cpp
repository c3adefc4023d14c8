#include <recording/framesink_p.h>

#include <libdataio/imagewriter.h>
#include <recording/serieswriter.h>

#include <QFileInfo>

namespace zd {

namespace {

class MovieSink : public FrameSink {
public:
    explicit MovieSink(ImageWriter& movie) : m_movie(movie) {}

    void store(const FrameNote& note, const void* samples, std::size_t size) override
    {
        m_movie.addFrame(samples, static_cast<int>(size), note.time, note.laserPower);
    }
    bool sync() override { return m_movie.sync(); }
    void setAttribute(const QString& name, const QString& value) override { m_movie.attribute(name, value); }
    void prepare() override {}
    std::int64_t roomLeft() override { return static_cast<std::int64_t>(m_movie.roomLeft()); }
    QString folder() const override { return QFileInfo(m_movie.fileName()).absolutePath(); }
    bool autotime() const override { return m_movie.autotime(); }
    const AttributeChunk& header() override { return m_movie.attributeChunk(); }

private:
    ImageWriter& m_movie;
};

class SeriesSink : public FrameSink {
public:
    explicit SeriesSink(SeriesWriter& series) : m_series(series) {}

    void store(const FrameNote& note, const void* samples, std::size_t size) override
    {
        m_series.addFrame(samples, static_cast<int>(size), note.time, note.laserPower);
    }
    bool sync() override { return m_series.sync(); }
    void setAttribute(const QString& name, const QString& value) override { m_series.header().attribute(name, value); }
    void prepare() override { m_series.prepare(); }
    std::int64_t roomLeft() override { return static_cast<std::int64_t>(m_series.roomLeft()); }
    QString folder() const override { return QFileInfo(m_series.partPath()).absolutePath(); }
    bool autotime() const override { return false; }
    const AttributeChunk& header() override { return m_series.header().attributeChunk(); }

private:
    SeriesWriter& m_series;
};

} // namespace

FrameSink::~FrameSink() = default;

std::unique_ptr<FrameSink> sinkOf(ImageWriter& movie)
{
    return std::make_unique<MovieSink>(movie);
}

std::unique_ptr<FrameSink> sinkOf(SeriesWriter& series)
{
    return std::make_unique<SeriesSink>(series);
}

std::size_t frameBytesOf(const AttributeChunk& header)
{
    int width = 0;
    int height = 0;
    int bits = 0;
    std::int64_t bytes = 0;
    if (!header.get(layout::key::width, width) || !header.get(layout::key::height, height) ||
        !header.get(layout::key::pixBits, bits) || width < 0 || height < 0 || bits <= 0 ||
        __builtin_mul_overflow(std::int64_t{width} * height, std::int64_t{layout::bytesForBits(bits)}, &bytes))
        return 0;
    return static_cast<std::size_t>(bytes);
}

} // namespace zd
