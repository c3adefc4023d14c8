#include <tests/support/moviebytes.h>

#include <QFile>

#include <iterator>
#include <stdexcept>

namespace zd::test {

namespace {

// Where the chunks of the small movie begin, and its payload of 99 bytes.
constexpr std::size_t chunkOffsets[] = {0, 48, 96, 144, 178};
constexpr std::size_t payloadSizes[] = {16, 16, 16, 2, 99};
constexpr std::size_t infoPayloadOffset = 194;
constexpr std::size_t indexBytes = 52;

} // namespace

std::string readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    return file.readAll().toStdString();
}

void writeFile(const QString& path, const std::string& bytes)
{
    QFile file(path);
    const auto size = static_cast<qint64>(bytes.size());
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes.data(), size) != size)
        throw std::runtime_error("cannot write " + path.toStdString());
}

std::string hex(const char* digits)
{
    return QByteArray::fromHex(digits).toStdString();
}

std::string word(std::uint32_t value)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<char>(value >> shift & 0xFF));
    return bytes;
}

std::string wordBigEndian(std::uint32_t value)
{
    const std::string bytes = word(value);
    return {bytes.rbegin(), bytes.rend()};
}

std::string withBytes(std::string bytes, std::size_t offset, const std::string& others)
{
    return bytes.replace(offset, others.size(), others);
}

std::string withoutTail(const std::string& bytes, std::size_t count)
{
    return bytes.substr(0, bytes.size() - count);
}

std::string startHeader(std::uint32_t type, std::uint32_t size)
{
    return "\n<CSTA" + wordBigEndian(type) + wordBigEndian(size) + ">\n";
}

std::string endHeader(std::uint32_t type, std::uint32_t size)
{
    return "\n<CEND" + wordBigEndian(type) + wordBigEndian(size) + ">\n";
}

std::string chunk(std::uint32_t type, const std::string& payload)
{
    const auto size = static_cast<std::uint32_t>(payload.size());
    return startHeader(type, size) + payload + endHeader(type, size);
}

MovieBuilder& MovieBuilder::attribute(const std::string& name, const std::string& value)
{
    m_attributes[name] = value;
    return *this;
}

MovieBuilder& MovieBuilder::frameFormat(int width, int height, int pixType, int pixBits)
{
    return attribute("endian", "2")
        .attribute("width", std::to_string(width))
        .attribute("height", std::to_string(height))
        .attribute("pixtype", std::to_string(pixType))
        .attribute("pixbits", std::to_string(pixBits));
}

MovieBuilder& MovieBuilder::chunk(std::uint32_t type, const std::string& payload)
{
    record(type, end(), static_cast<std::uint32_t>(payload.size()));
    return bytes(test::chunk(type, payload));
}

MovieBuilder& MovieBuilder::bytes(const std::string& bytes)
{
    m_chunks += bytes;
    return *this;
}

MovieBuilder& MovieBuilder::record(std::uint32_t type, std::uint32_t offset, std::uint32_t length)
{
    m_index[type].push_back({offset, length});
    return *this;
}

std::string MovieBuilder::infoPayload() const
{
    std::string records;
    std::uint32_t count = 0;
    for (const auto& [type, list] : m_index) {
        for (const Record& record : list) {
            records += words({type, record.offset, record.length});
            ++count;
        }
    }
    std::string text;
    for (const auto& [name, value] : m_attributes)
        text += name + "=" + value + "\n";
    return word(count) + records + text;
}

std::string MovieBuilder::movie() const
{
    return m_chunks + test::chunk(5, infoPayload());
}

std::string words(std::initializer_list<std::uint32_t> values)
{
    std::string bytes;
    for (const std::uint32_t value : values)
        bytes += word(value);
    return bytes;
}

std::string timeBytes(std::int32_t seconds, std::int32_t microseconds)
{
    return words({static_cast<std::uint32_t>(seconds), static_cast<std::uint32_t>(microseconds)});
}

std::string countingFrame(std::size_t size, char first)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i)
        bytes.push_back(static_cast<char>(first + static_cast<char>(i)));
    return bytes;
}

std::string smallMovie()
{
    return MovieBuilder()
        .frameFormat(4, 2, 5, 16)
        .frame(countingFrame(16, 1))
        .frame(countingFrame(16, 101))
        .chunk(7, timeBytes(1'700'000'000, 0) + timeBytes(1'700'000'000, 250'000))
        .chunk(8, "\x7F\xFF")
        .movie();
}

std::string richMovie()
{
    MovieBuilder movie;
    movie.frameFormat(4, 2, 5, 16)
        .attribute("comment", "first line\asecond line")
        .attribute("framedelay", "83")
        .attribute("plug_gain", "1.500000e+00")
        .attribute("pal_cropMin", "0")
        .attribute("pal_cropMax", "4095")
        .attribute("pal_name", "fire")
        .attribute("pal_nbcols", "3");
    const char* const boxNames[] = {"bbox_min_x", "bbox_min_y", "bbox_max_x", "bbox_max_y"};
    const char* const box[] = {"0.000000e+00", "0.000000e+00", "3.000000e+00", "1.000000e+00"};
    for (int i = 0; i < 4; ++i)
        movie.attribute(boxNames[i], box[i]);
    for (int node = 0; node < 3; ++node) {
        const std::string prefix = "pal_n" + std::to_string(node);
        movie.attribute(prefix + "_val", std::to_string(node) + ".000000e-01");
        for (const char* const component : {"_r", "_g", "_b"})
            movie.attribute(prefix + component, "5.000000e-01");
    }
    for (int frame = 0; frame < 3; ++frame)
        movie.frame(countingFrame(16, static_cast<char>(20 * frame)));
    movie.chunk(6, words({0, 0, 1U << 30, 1U << 29, 1U << 31, 1U << 30, 3U << 30, 1U << 31}));
    movie.chunk(7, timeBytes(1'700'000'000, 0) + timeBytes(1'700'000'001, 5) + timeBytes(1'700'000'002, 999'999));
    return movie.chunk(8, std::string("\x00\x7F\xFE", 3)).movie();
}

Region regionOfSmallMovie(std::size_t offset)
{
    for (std::size_t chunk = 0; chunk < std::size(chunkOffsets); ++chunk) {
        const std::size_t payload = chunkOffsets[chunk] + 16;
        if (offset < chunkOffsets[chunk] || offset >= payload + payloadSizes[chunk] + 16)
            continue;
        if (offset < payload || offset >= payload + payloadSizes[chunk])
            return Region::Headers;
        if (payload != infoPayloadOffset)
            return Region::Data;
        return offset < infoPayloadOffset + indexBytes ? Region::Index : Region::Attributes;
    }
    return Region::Data;
}

std::vector<Field> fieldsOfSmallMovie()
{
    std::vector<Field> fields;
    for (std::size_t chunk = 0; chunk < std::size(chunkOffsets); ++chunk) {
        const std::size_t end = chunkOffsets[chunk] + 16 + payloadSizes[chunk];
        for (const std::size_t header : {chunkOffsets[chunk], end}) {
            fields.push_back({header + 6, true});
            fields.push_back({header + 10, true});
        }
    }
    for (std::size_t at = 0; at < indexBytes; at += 4)
        fields.push_back({infoPayloadOffset + at, false});
    return fields;
}

std::string withField(std::string movie, const Field& field, std::uint32_t value)
{
    return movie.replace(field.offset, 4, field.bigEndian ? wordBigEndian(value) : word(value));
}

const std::vector<std::uint32_t> hostileValues{
    0,          1,          2,          3,          4,          5,          6,          7,
    8,          9,          15,         16,         17,         31,         32,         33,
    48,         64,         96,         178,        255,        256,        309,        310,
    65535,      65536,      0x00100000, 0x15555555, 0x7FFFFFE0, 0x7FFFFFFF, 0x80000000, 0xFFFFFECB,
    0xFFFFFFDF, 0xFFFFFFE0, 0xFFFFFFEF, 0xFFFFFFF0, 0xFFFFFFFE, 0xFFFFFFFF};

} // namespace zd::test
