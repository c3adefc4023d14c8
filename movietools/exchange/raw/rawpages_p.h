#pragma once

#include <movietools/exchange/framepages_p.h>

#include <cstdint>

namespace zd::movietools {

/// Frames in a file without any structure of its own, or behind NumPy's header.
class RawPages : public FramePages {
public:
    /// A file of that layout, which must fit the file's length.
    RawPages(const QString& path, const RawLayout& layout);
    /// A NumPy file.
    explicit RawPages(const QString& path);
    ~RawPages() override;

    const QString& path() const override { return m_path; }
    unsigned page() const override { return m_page + 1; }
    const PageFormat& format() const override { return m_layout.format; }
    bool next() override;
    void readPixels(char* pixels) override;

private:
    void open();
    void checkLength();
    std::size_t readAt(char* bytes, std::size_t size, std::uint64_t offset) const;

    QString m_path;
    RawLayout m_layout;
    int m_fd = -1;
    unsigned m_page = 0;
};

} // namespace zd::movietools
