#include <bench/peers/peer.h>

#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>

#include <stdexcept>

namespace zd::bench {

namespace {

class MovieSink : public FrameSink {
public:
    MovieSink(const std::string& path, const Shape& shape)
    {
        m_writer.create(QString::fromStdString(path), true);
        m_writer.width(shape.width);
        m_writer.height(shape.height);
        m_writer.pixType(shape.bits == 8 ? ZD_UCHAR : ZD_USHORT);
    }
    void add(const void* frame) override { m_writer.addFrame(frame, 0.5F); }
    void finish() override { m_writer.close(); }

private:
    ImageWriter m_writer;
};

class MovieSource : public FrameSource {
public:
    explicit MovieSource(const std::string& path) : m_reader(QString::fromStdString(path)) {}

    const void* next() override
    {
        const void* frame = nullptr;
        if (!m_reader.nextFrame(frame))
            throw std::runtime_error("no next frame");
        return frame;
    }

    const void* at(int index) override
    {
        const void* frame = nullptr;
        if (!m_reader.getFrame(frame, static_cast<unsigned int>(index)))
            throw std::runtime_error("no such frame");
        return frame;
    }

private:
    ImageReader m_reader;
};

} // namespace

const Peer dataIO{
    "DataIO",
    [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSink> {
        return std::make_unique<MovieSink>(path, shape);
    },
    [](const std::string& path, const Shape&) -> std::unique_ptr<FrameSource> {
        return std::make_unique<MovieSource>(path);
    },
};

} // namespace zd::bench
