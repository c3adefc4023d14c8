#pragma once

#include <recording/recordedframe.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zd {

class AttributeChunk;
class ImageWriter;
class SeriesWriter;

/// Where the writing thread puts frames: a movie or a series.
class FrameSink {
public:
    FrameSink() = default;
    FrameSink(const FrameSink&) = delete;
    FrameSink& operator=(const FrameSink&) = delete;
    virtual ~FrameSink();

    virtual void store(const FrameNote& note, const void* samples, std::size_t size) = 0;
    virtual bool sync() = 0;
    virtual void setAttribute(const QString& name, const QString& value) = 0;
    /// Does ahead of time what would delay a frame later; called when nothing else is to be done.
    virtual void prepare() = 0;
    /// Bytes of frames that fit.
    virtual std::int64_t roomLeft() = 0;
    /// Where the files lie.
    virtual QString folder() const = 0;
    /// Whether it would give the frames times of its own.
    virtual bool autotime() const = 0;
    virtual const AttributeChunk& header() = 0;
};

std::unique_ptr<FrameSink> sinkOf(ImageWriter& movie);
std::unique_ptr<FrameSink> sinkOf(SeriesWriter& series);

/// Bytes of a frame by a header; 0 when that does not say.
std::size_t frameBytesOf(const AttributeChunk& header);

} // namespace zd
