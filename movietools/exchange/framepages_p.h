#pragma once

#include <movietools/frames/pageformat.h>
#include <movietools/movie/moviedescription.h>

#include <QString>

#include <memory>
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

/// Where the samples of frames lie in a file, one frame after the other.
struct RawLayout {
    PageFormat format;
    std::uint64_t frames = 0; ///< 0: as many as there are bytes for
    std::uint64_t offset = 0; ///< of the first sample
    bool bigEndian = false;
};

// Each opens pictures of a form, the first one current. `signedType` is the type of samples that were stored with half
// of their range added; `ZD_UNKNOWN` for none.
std::unique_ptr<FramePages> openTiffPages(const QString& path);
std::unique_ptr<FramePages> openPicture(const QString& path); ///< one PNG picture
std::unique_ptr<FramePages> openPictures(const QString& folder, ZDImagePixelType signedType);
std::unique_ptr<FramePages> openRawPages(const QString& path, const RawLayout& layout);
std::unique_ptr<FramePages> openNpyPages(const QString& path);
std::unique_ptr<FramePages> openVideoPages(const QString& path, ZDImagePixelType signedType);

} // namespace zd::movietools
