#pragma once

#include <movietools/exchange/framepages_p.h>
#include <movietools/exchange/video/childprogram_p.h>

#include <optional>

namespace zd::movietools {

/// The pictures of a video's first stream, decoded by another program: grey ones of 8 or 16 bits stay, all others
/// become RGB.
class VideoPages : public FramePages {
public:
    /// Looks at the file and counts its pictures. `signedType` as in `openVideoPages`.
    VideoPages(const QString& path, ZDImagePixelType signedType);

    const QString& path() const override { return m_path; }
    unsigned page() const override { return m_page + 1; }
    const PageFormat& format() const override { return m_format; }
    bool next() override;
    /// Decodes pictures up to the current one.
    void readPixels(char* pixels) override;

private:
    void look();

    QString m_path;
    ZDImagePixelType m_signedType;
    PageFormat m_format;
    ZDImagePixelType m_decoded = ZD_UNKNOWN;
    std::uint64_t m_pictures = 0;
    unsigned m_page = 0;
    std::uint64_t m_read = 0; // pictures fetched from the decoder
    std::optional<ChildProgram> m_decoder;
};

/// Pictures in the video at `path`; errors are reported for `reportedPath`. Throws JobError.
std::uint64_t picturesIn(const QString& path, const QString& reportedPath);

} // namespace zd::movietools
