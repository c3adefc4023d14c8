#pragma once

#include <movietools/exchange/framepages_p.h>
#include <movietools/exchange/tiff/tifffile_p.h>

#include <cstdint>
#include <memory>

namespace zd::movietools {

/// Reads the pages of one TIFF file. A page that is damaged or not of a kind that movies hold is an error.
class TiffPages : public FramePages {
public:
    /// Opens a file; the first page is current.
    explicit TiffPages(const QString& path);

    const QString& path() const override { return m_path; }
    unsigned page() const override { return m_page; }
    const PageFormat& format() const override { return m_format; }
    bool next() override;
    void readPixels(char* pixels) override;
    /// What an OME-TIFF says in its first page.
    std::optional<MovieDescription> description() override;

private:
    struct Blocks;

    bool hasTag(std::uint16_t tag) const;
    void readFormat();
    void checkStorage();
    void checkForHiddenImages();
    void readStrips(char* pixels);
    void readBlocks(char* pixels);
    Blocks blocks() const;
    void placeBlock(const Blocks& blocks, std::uint32_t left, std::uint32_t top, int channel, char* pixels) const;
    void checkRead(tmsize_t read, std::uint64_t expected);
    [[noreturn]] void refusePage(const QString& what) const;
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
