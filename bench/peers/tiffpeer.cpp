#include <bench/peers/peer.h>

#include <stdexcept>

#include <tiffio.h>

namespace zd::bench {

namespace {

class TiffFile {
public:
    TiffFile(const std::string& path, const char* mode) : m_tiff(TIFFOpen(path.c_str(), mode))
    {
        if (m_tiff == nullptr)
            throw std::runtime_error("libtiff cannot open " + path);
    }
    TiffFile(const TiffFile&) = delete;
    TiffFile& operator=(const TiffFile&) = delete;
    ~TiffFile() { close(); }

    TIFF* get() const { return m_tiff; }
    void close()
    {
        if (m_tiff != nullptr)
            TIFFClose(m_tiff);
        m_tiff = nullptr;
    }

private:
    TIFF* m_tiff;
};

void require(bool done)
{
    if (!done)
        throw std::runtime_error("libtiff failed");
}

class TiffSink : public FrameSink {
public:
    TiffSink(const std::string& path, const Shape& shape) : m_file(path, "w8"), m_shape(shape) {}

    void add(const void* frame) override
    {
        TIFF* tiff = m_file.get();
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, m_shape.width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, m_shape.height);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, m_shape.bits);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, m_shape.height);
        const auto size = static_cast<tmsize_t>(m_shape.frameBytes());
        // Raw strips spare the library's own copy; the frame is not changed.
        require(TIFFWriteRawStrip(tiff, 0, const_cast<void*>(frame), size) == size);
        require(TIFFWriteDirectory(tiff) == 1);
    }
    void finish() override { m_file.close(); }

private:
    TiffFile m_file;
    const Shape m_shape;
};

class TiffSource : public FrameSource {
public:
    // "c": a strip stays whole. Reading is through the library's memory mapping, its default.
    TiffSource(const std::string& path, const Shape& shape) : m_file(path, "rc"), m_buffer(shape.frameBytes()) {}

    const void* next() override
    {
        require(!m_begun || TIFFReadDirectory(m_file.get()) == 1);
        m_begun = true;
        return _read();
    }

    const void* at(int index) override
    {
        require(TIFFSetDirectory(m_file.get(), static_cast<tdir_t>(index)) == 1);
        return _read();
    }

private:
    const void* _read()
    {
        const auto size = static_cast<tmsize_t>(m_buffer.size());
        require(TIFFReadRawStrip(m_file.get(), 0, m_buffer.data(), size) == size);
        return m_buffer.data();
    }

    TiffFile m_file;
    std::vector<char> m_buffer;
    bool m_begun = false;
};

} // namespace

const Peer tiff{
    "libtiff",
    [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSink> {
        return std::make_unique<TiffSink>(path, shape);
    },
    [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSource> {
        return std::make_unique<TiffSource>(path, shape);
    },
};

} // namespace zd::bench
