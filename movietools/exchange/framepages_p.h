#pragma once

#include <movietools/frames/pageformat_p.h>
#include <movietools/movie/moviedescription.h>

#include <QString>

#include <optional>

namespace zd::movietools {

/// Pictures that become the frames of a movie, read in order. All operations throw JobError, which names the file and
/// the page. Pages are counted from 1; the first is current at the start.
class FramePages {
public:
    FramePages() = default;
    FramePages(const FramePages&) = delete;
    FramePages& operator=(const FramePages&) = delete;
    virtual ~FramePages() = default;

    virtual const QString& path() const = 0; ///< of the file or folder, as the caller named it
    virtual unsigned page() const = 0;
    virtual const PageFormat& format() const = 0; ///< of the current page
    /// Goes to the next page; false behind the last one.
    virtual bool next() = 0;
    /// Reads the current page: rows from the top, channels of a pixel side by side, in this machine's byte order,
    /// `format().frameBytes()` bytes. At most once a page.
    virtual void readPixels(char* pixels) = 0;
    /// What came with the pictures, asked while the first page is current; nothing when they came alone.
    virtual std::optional<MovieDescription> description() { return std::nullopt; }
};

} // namespace zd::movietools
