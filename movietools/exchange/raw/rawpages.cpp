#include <movietools/exchange/raw/rawpages_p.h>

#include <movietools/exchange/raw/npyheader_p.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/joberror.h>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

constexpr std::size_t longestHeader = 65536;

void turnBytes(char* bytes, std::uint64_t size, int sampleBytes)
{
    for (std::uint64_t i = 0; sampleBytes > 1 && i < size; i += static_cast<std::uint64_t>(sampleBytes))
        std::reverse(bytes + i, bytes + i + sampleBytes);
}

} // namespace

RawPages::RawPages(const QString& path, const RawLayout& layout) : m_path(path), m_layout(layout)
{
    open();
    checkLength();
}

RawPages::RawPages(const QString& path) : m_path(path)
{
    open();
    QByteArray start(longestHeader, Qt::Uninitialized);
    start.resize(static_cast<qsizetype>(readAt(start.data(), longestHeader, 0)));
    const NpyArray array = readNpyHeader(start, path);
    m_layout = {array.format, array.frames, array.offset, array.bigEndian};
    checkLength();
}

RawPages::~RawPages()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

void RawPages::open()
{
    m_fd = ::open(m_path.toUtf8().constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (m_fd < 0)
        throw systemError(m_path, QStringLiteral("read"), errno);
}

// A file that ends early, or holds something else behind its frames, is not what it was said to be.
void RawPages::checkLength()
{
    struct stat status {};
    if (::fstat(m_fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(m_fd);
        m_fd = -1;
        refuse(m_path, QStringLiteral("is not a regular file"), QStringLiteral("name a file of samples"));
    }
    const auto length = static_cast<std::uint64_t>(status.st_size);
    const std::uint64_t room = length - std::min(length, m_layout.offset);
    const std::uint64_t frame = m_layout.format.frameBytes();
    const std::uint64_t frames = m_layout.frames == 0 ? room / frame : m_layout.frames;
    if (frames == 0 || frames > UINT32_MAX || room / frame != frames || room % frame != 0) {
        ::close(m_fd);
        m_fd = -1;
        refuse(m_path,
               QStringLiteral("has %1 bytes of samples, which is not %2 of %3 bytes")
                   .arg(room)
                   .arg(m_layout.frames == 0 ? QStringLiteral("a number of whole frames")
                                             : QStringLiteral("%1 frames").arg(frames))
                   .arg(frame),
               QStringLiteral("check size and type, or use another copy"));
    }
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
    if (readAt(pixels, size, m_layout.offset + m_page * size) != size)
        refuse(m_path, QStringLiteral("ends within frame %1").arg(m_page),
               QStringLiteral("leave it alone while it is imported"));
    if (m_layout.bigEndian)
        turnBytes(pixels, size, sampleFormat(m_layout.format.type).bits / 8);
}

std::size_t RawPages::readAt(char* bytes, std::size_t size, std::uint64_t offset) const
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::pread(m_fd, bytes + done, size - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            throw systemError(m_path, QStringLiteral("read"), errno);
        if (got == 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
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
