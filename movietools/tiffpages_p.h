#pragma once

#include <libdataio/pixeltypes.h>
#include <movietools/tifffile_p.h>

#include <cstdint>
#include <memory>

namespace zd::movietools {

/// What the pages of one movie have in common.
struct PageFormat {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    bool whiteIsZero = false; ///< the smallest grey value shows as white

    std::uint64_t frameBytes() const;
    friend bool operator==(const PageFormat&, const PageFormat&) = default;
};

/// Reads the pages of one TIFF file in order. All operations throw JobError, which names file and page; a page
/// that is damaged or not of a kind that movies hold is an error. Pages are counted from 1.
class TiffPages {
public:
    /// Opens a file; the first page is current.
    explicit TiffPages(const QString& path);

    const QString& path() const { return m_path; }
    unsigned page() const { return m_page; }
    const PageFormat& format() const { return m_format; }

    /// Goes to the next page; false behind the last one.
    bool next();
    /// Reads the pixels of the current page, rows from the top, channels of a pixel side by side, in this
    /// machine's byte order: `format().frameBytes()` bytes.
    void readPixels(char* pixels);

private:
    struct Blocks;

    void readFormat();
    void checkStorage();
    void checkForHiddenImages();
    void readStrips(char* pixels);
    void readBlocks(char* pixels);
    Blocks blocks() const;
    void placeBlock(const Blocks& blocks, std::uint32_t left, std::uint32_t top, int channel, char* pixels) const;
    void checkRead(tmsize_t read, std::uint64_t expected);
    [[noreturn]] void refuse(const QString& what) const;
    [[noreturn]] void reportDamage() const;

    QString m_path;
    TiffFile m_file;
    unsigned m_page = 1;
    PageFormat m_format;
    bool m_separate = false; // each channel in blocks of its own
    std::unique_ptr<char[]> m_block;
    std::uint64_t m_blockSize = 0;
};

} // namespace zd::movietools
