#pragma once

#include <movietools/exchange/framepages_p.h>
#include <movietools/files/bytesource.h>

#include <cstdint>

namespace zd::movietools {

/// Frames in a file without any structure of its own, or behind NumPy's header.
class RawPages : public FramePages {
public:
    /// A file of that layout, which must fit the file's length.
    RawPages(const QString& path, const RawLayout& layout);
    /// A NumPy file.
    explicit RawPages(const QString& path);

    const QString& path() const override { return m_path; }
    unsigned page() const override { return m_page + 1; }
    const PageFormat& format() const override { return m_layout.format; }
    bool next() override;
    void readPixels(char* pixels) override;

private:
    void checkLength();

    FileBytes m_bytes;
    QString m_path;
    RawLayout m_layout;
    unsigned m_page = 0;
};

} // namespace zd::movietools
