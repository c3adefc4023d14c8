#include <movietools/exchange/raw/rawpages_p.h>

#include <movietools/exchange/raw/npyheader_p.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/joberror.h>

#include <algorithm>

namespace zd::movietools {

namespace {

constexpr std::int64_t longestHeader = 65536;
const QString advice = QStringLiteral("name a file of samples");

void turnBytes(char* bytes, std::uint64_t size, int sampleBytes)
{
    for (std::uint64_t i = 0; sampleBytes > 1 && i < size; i += static_cast<std::uint64_t>(sampleBytes))
        std::reverse(bytes + i, bytes + i + sampleBytes);
}

} // namespace

RawPages::RawPages(const QString& path, const RawLayout& layout) : m_bytes(path, advice), m_path(path), m_layout(layout)
{
    checkLength();
}

RawPages::RawPages(const QString& path) : m_bytes(path, advice), m_path(path)
{
    const NpyArray array = readNpyHeader(m_bytes.bytes(0, longestHeader), path);
    m_layout = {array.format, array.frames, array.offset, array.bigEndian};
    checkLength();
}

// A file that ends early, or holds something else behind its frames, is not what it was said to be.
void RawPages::checkLength()
{
    const auto length = static_cast<std::uint64_t>(m_bytes.length());
    const std::uint64_t room = length - std::min(length, m_layout.offset);
    const std::uint64_t frame = m_layout.format.frameBytes();
    const std::uint64_t frames = m_layout.frames == 0 ? room / frame : m_layout.frames;
    if (frames == 0 || frames > UINT32_MAX || room / frame != frames || room % frame != 0)
        refuse(m_path,
               QStringLiteral("has %1 bytes of samples, which is not %2 of %3 bytes")
                   .arg(room)
                   .arg(m_layout.frames == 0 ? QStringLiteral("a number of whole frames")
                                             : QStringLiteral("%1 frames").arg(frames))
                   .arg(frame),
               QStringLiteral("check size and type, or use another copy"));
    m_layout.frames = frames;
}

bool RawPages::next()
{
    if (m_page + 1 >= m_layout.frames)
        return false;
    ++m_page;
    return true;
}

void RawPages::readPixels(char* pixels)
{
    const std::uint64_t size = m_layout.format.frameBytes();
    const auto offset = static_cast<std::int64_t>(m_layout.offset + m_page * size);
    if (m_bytes.read(offset, pixels, static_cast<std::int64_t>(size)) != static_cast<std::int64_t>(size))
        refuse(m_path, QStringLiteral("ends within frame %1").arg(m_page),
               QStringLiteral("leave it alone while it is imported"));
    if (m_layout.bigEndian)
        turnBytes(pixels, size, sampleFormat(m_layout.format.type).bits / 8);
}

std::unique_ptr<FramePages> openRawPages(const QString& path, const RawLayout& layout)
{
    return std::make_unique<RawPages>(path, layout);
}

std::unique_ptr<FramePages> openNpyPages(const QString& path)
{
    return std::make_unique<RawPages>(path);
}

} // namespace zd::movietools
