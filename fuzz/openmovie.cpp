#include <fuzz/moviefile.h>
#include <fuzz/require.h>
#include <fuzz/targets.h>

#include <common/zdpalette.h>
#include <libdataio/imagereader.h>

#include <QImage>

#include <cmath>
#include <functional>
#include <sstream>
#include <string_view>

namespace zd::fuzz {

namespace {

/// Collects every answer of a reader.
class Interview {
public:
    Interview(ImageReader& reader, int largestSide) : m_reader(reader), m_largestSide(largestSide) {}

    std::string answers()
    {
        header();
        for (int index = -1; index <= std::min(m_reader.nbFrames(), framesAsked); ++index)
            frame(static_cast<unsigned int>(index));
        for (int mode = -1; mode <= 6; ++mode)
            fibers(static_cast<ImageReader::FiberFilteringMode>(mode));
        for (const int side : {0, -1, 1, 160, m_largestSide})
            thumbnail(side);
        note(codeOf({"IR_MISSINFO", "CI_L_CHUNK", "CHB_LFD_PARSE", "CHB_LDF_READ"},
                    [this] { m_reader.reloadHeader(); }));
        m_reader.close();
        const void* data = nullptr;
        require(!m_reader.getFrame(data, 0) && data == nullptr, "no frame from a closed reader");
        return m_answers.str();
    }

private:
    static constexpr int framesAsked = 6;
    static constexpr std::size_t largestCompared = 1 << 20;

    template <typename Value>
    void note(const Value& value)
    {
        m_answers << value << ' ';
    }

    template <typename Value>
    void note(bool found, const Value& value)
    {
        m_answers << found << ' ' << (found ? value : Value()) << ' ';
    }

    void header()
    {
        int number = -1;
        note(m_reader.width(number), number);
        note(m_reader.height(number), number);
        note(m_reader.frameDelay(number), number);
        note(m_reader.dimension(number), number);
        note(m_reader.pixBits(number), number);
        ZDImagePixelType type = ZD_UNKNOWN;
        note(m_reader.pixType(type), static_cast<int>(type));
        bool found = false;
        note(m_reader.utcOffsetSeconds(found));
        note(m_reader.pixBytes() + m_reader.endian() + m_reader.getMaskLevel());
        note((m_reader.dataType() + m_reader.getComment() + m_reader.getSpecificComment()).toStdString());
        ZdPalette palette;
        note(m_reader.palette(palette), palette.size());
        require(palette.size() > 0, "a palette, at least the default one");
        palette.checkBounds();
        require(palette.size() == 0 || palette.assertIntegrity(), "a palette that can be drawn with");
        std::vector<float> box;
        note(m_reader.getBundleBoundingBox(box), box.size());
        note(m_reader.getFrameTimer().size());
    }

    void frame(unsigned int index)
    {
        timeval time;
        note(m_reader.getFrameTiming(index, time), time.tv_sec);
        float power = -1;
        note(m_reader.getLaserPower(index, power), power);
        const void* data = nullptr;
        bool delivered = false;
        note(codeOf({"CHB_LFD_PARSE", "CHB_LDF_READ"}, [&] { delivered = m_reader.getFrame(data, index); }));
        const std::int64_t size = m_reader.frameSize();
        note(delivered, size);
        require(size >= 0 && (data != nullptr || size == 0 || !delivered), "a size of what was delivered");
        if (delivered && size != 0)
            pixels({static_cast<const char*>(data), static_cast<std::size_t>(size)}, index);
    }

    /// A frame as delivered, to be compared with the same as read.
    void pixels(std::string_view delivered, unsigned int index)
    {
        note(std::hash<std::string_view>()(delivered));
        if (delivered.size() > largestCompared)
            return;
        const std::string expected = std::string(delivered) + '\0';
        std::string read(expected.size(), '#');
        require(m_reader.readFrame(index, read.data(), static_cast<std::int64_t>(read.size())), "a frame to read");
        require(read == expected, "the frame that was delivered");
    }

    void fibers(ImageReader::FiberFilteringMode mode)
    {
        std::vector<float> centers;
        std::vector<unsigned int> offsets;
        int count = 0;
        note(codeOf({"IR_GRFI_NOSIZE", "IR_GRFI_UMODE", "IR_GRFI_UDTYPE", "CHB_LFD_PARSE", "CHB_LDF_READ"}, [&] {
            m_reader.getRasterFiberContinuousIndexes(centers, mode);
            require(centers.size() % 2 == 0, "whole positions");
            m_reader.getFiberOffsets(offsets, mode);
            require(offsets.size() * 2 == centers.size(), "an offset for each position");
            count = m_reader.nbFibers(mode);
            require(static_cast<std::size_t>(count) == offsets.size(), "as many fibres as positions");
            m_reader.getRasterFiberIndexes(offsets, mode);
            require(offsets.size() == centers.size(), "a pixel for each position");
            m_reader.getWorldFiberCenters(centers, mode);
        }));
        for (const float value : centers)
            note(std::isnan(value) ? 0 : value);
        note(count);
    }

    void thumbnail(int side)
    {
        for (const int index : {-1, 0, m_reader.nbFrames()}) {
            QImage image;
            bool drawn = false;
            note(codeOf({"CHB_LFD_PARSE", "CHB_LDF_READ"},
                        [&] { drawn = m_reader.thumbnail(image, side, side, index); }));
            require(drawn != image.isNull(), "a picture, or none");
            note(image.width() * 10000 + image.height());
            image = image.convertToFormat(QImage::Format_RGB32); // no bytes between the lines
            if (drawn)
                note(std::hash<std::string_view>()(
                    {reinterpret_cast<const char*>(image.constBits()), static_cast<std::size_t>(image.sizeInBytes())}));
        }
    }

    ImageReader& m_reader;
    const int m_largestSide;
    std::ostringstream m_answers;
};

std::string readMovie(const QString& path, int largestThumbnail)
{
    ImageReader reader;
    const std::string code =
        codeOf({"IR_MISSINFO", "CHB_LFD_PARSE", "CHB_LDF_READ", "CI_L_CHUNK"}, [&] { reader.open(path); });
    return code + ' ' + Interview(reader, largestThumbnail).answers();
}

} // namespace

void openMovie(Input input)
{
    MovieFile& file = MovieFile::instance();
    file.write(input);
    const int largestThumbnail = input.size() % 64 == 0 ? 5000 : 500; // large ones take their time
    const std::string answers = readMovie(file.path(), largestThumbnail);
    require(readMovie(file.path(), largestThumbnail) == answers, "the same answers the second time");
    require(file.read() == std::string(input.begin(), input.end()), "a reader never writes");
}

} // namespace zd::fuzz
