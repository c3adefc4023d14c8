#include <bench/peers/peer.h>

#include <libdataio/payloadbuffer.h>

#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace zd::bench {

namespace {

class File {
public:
    File(const std::string& path, int flags) : m_fd(::open(path.c_str(), flags, 0600))
    {
        if (m_fd == -1)
            throw std::runtime_error("cannot open " + path);
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { close(); }

    int fd() const { return m_fd; }
    void close()
    {
        if (m_fd != -1)
            ::close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd;
};

void requireWhole(ssize_t moved, std::size_t size)
{
    if (moved != static_cast<ssize_t>(size))
        throw std::runtime_error("a raw transfer was cut short");
}

class RawSink : public FrameSink {
public:
    RawSink(const std::string& path, const Shape& shape)
        : m_file(path, O_RDWR | O_CREAT | O_TRUNC), m_size(shape.frameBytes())
    {
    }
    void add(const void* frame) override { requireWhole(::write(m_file.fd(), frame, m_size), m_size); }
    void finish() override { m_file.close(); }

private:
    File m_file;
    const std::size_t m_size;
};

class RawSource : public FrameSource {
public:
    RawSource(const std::string& path, const Shape& shape, bool aligned)
        : m_file(path, O_RDONLY), m_size(shape.frameBytes()), m_plain(aligned ? 0 : m_size)
    {
        if (aligned)
            m_aligned.reserve(m_size);
        m_buffer = aligned ? m_aligned.data() : m_plain.data();
    }

    const void* next() override
    {
        requireWhole(::read(m_file.fd(), m_buffer, m_size), m_size);
        return m_buffer;
    }

    const void* at(int index) override
    {
        const off_t offset = static_cast<off_t>(index) * static_cast<off_t>(m_size);
        requireWhole(::pread(m_file.fd(), m_buffer, m_size, offset), m_size);
        return m_buffer;
    }

private:
    File m_file;
    const std::size_t m_size;
    std::vector<char> m_plain;
    PayloadBuffer m_aligned;
    char* m_buffer = nullptr;
};

std::unique_ptr<FrameSink> createRaw(const std::string& path, const Shape& shape)
{
    return std::make_unique<RawSink>(path, shape);
}

} // namespace

const Peer raw{"raw", createRaw, [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSource> {
                   return std::make_unique<RawSource>(path, shape, false);
               }};

const Peer rawAligned{"raw, page-aligned", createRaw,
                      [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSource> {
                          return std::make_unique<RawSource>(path, shape, true);
                      }};

} // namespace zd::bench
