#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// Libraries that keep frames in a file, behind one face.
namespace zd::bench {

/// Frames of one size, and how many of them a movie has.
struct Shape {
    const char* name;
    int width;
    int height;
    int bits;
    int count;

    std::size_t frameBytes() const
    {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * static_cast<std::size_t>(bits / 8);
    }
};

/// A file that is being written, frame after frame. Failures are exceptions.
class FrameSink {
public:
    FrameSink() = default;
    FrameSink(const FrameSink&) = delete;
    FrameSink& operator=(const FrameSink&) = delete;
    virtual ~FrameSink() = default;
    virtual void add(const void* frame) = 0;
    /// Completes and closes the file.
    virtual void finish() = 0;
};

/// A file that is being read. Pointers are valid until the next call.
class FrameSource {
public:
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;
    virtual ~FrameSource() = default;
    virtual const void* next() = 0;
    virtual const void* at(int index) = 0;
};

struct Peer {
    const char* name;
    std::unique_ptr<FrameSink> (*create)(const std::string& path, const Shape& shape);
    std::unique_ptr<FrameSource> (*open)(const std::string& path, const Shape& shape);
};

extern const Peer dataIO;
extern const Peer raw;            ///< plain write() and read(), one call a frame, into a vector: the limit
extern const Peer rawAligned;     ///< the same, reading into a buffer that begins a page
extern const Peer tiff;           ///< BigTIFF, one strip a frame
extern const Peer hdf5Chunked;    ///< one chunk a frame, extended frame by frame
extern const Peer hdf5Movie;      ///< as chunked, with times and laser powers, which are read when it is opened
extern const Peer hdf5Contiguous; ///< a dataset whose length is known beforehand

} // namespace zd::bench
