#include <movietools/exchange/describedpages_p.h>

#include <movietools/exchange/pixelchecksum_p.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/joberror.h>
#include <movietools/job/wording.h>

namespace zd::movietools {

namespace {

/// Passes everything on but the description.
class WrappedPages : public FramePages {
public:
    explicit WrappedPages(std::unique_ptr<FramePages> pages) : m_pages(std::move(pages)) {}

    const QString& path() const override { return m_pages->path(); }
    unsigned page() const override { return m_pages->page(); }
    const PageFormat& format() const override { return m_pages->format(); }
    bool next() override { return m_pages->next(); }
    void readPixels(char* pixels) override { m_pages->readPixels(pixels); }

private:
    std::unique_ptr<FramePages> m_pages;
};

class DescribedPages : public WrappedPages {
public:
    DescribedPages(std::unique_ptr<FramePages> pages, const Sidecar& sidecar, const QString& sidecarPath)
        : WrappedPages(std::move(pages)), m_sidecar(sidecar), m_sidecarPath(sidecarPath)
    {
        if (changesPixels(sidecar.form))
            requireFile();
        else
            requireFormat();
    }

    bool next() override
    {
        const bool isThere = WrappedPages::next();
        m_count += isThere ? 1 : 0;
        if (isThere ? m_count > m_sidecar.frames : m_count != m_sidecar.frames)
            refuseSidecar(QStringLiteral("describes %1 frames, and %2 has %3")
                              .arg(m_sidecar.frames)
                              .arg(path(), isThere ? QStringLiteral("more") : QString::number(m_count)));
        return isThere;
    }

    void readPixels(char* pixels) override
    {
        WrappedPages::readPixels(pixels);
        if (m_sidecar.checksum.isEmpty() || changesPixels(m_sidecar.form))
            return;
        m_checksum.add(pixels, format().frameBytes());
        if (++m_read == m_sidecar.frames && m_checksum.text() != m_sidecar.checksum)
            refuseOtherPixels();
    }

    std::optional<MovieDescription> description() override { return m_sidecar.description; }

private:
    void requireFormat() const;
    void requireFile() const;
    [[noreturn]] void refuseOtherPixels() const;
    [[noreturn]] void refuseSidecar(const QString& problem) const;

    const Sidecar m_sidecar;
    const QString m_sidecarPath;
    PixelChecksum m_checksum;
    unsigned m_count = 1;
    unsigned m_read = 0;
};

void DescribedPages::requireFormat() const
{
    const PageFormat& told = m_sidecar.format;
    const PageFormat& found = format();
    if (told.width == found.width && told.height == found.height && sampleFormat(told.type) == sampleFormat(found.type))
        return;
    refuseSidecar(QStringLiteral("describes frames of %1, and those of %2 are %3")
                      .arg(pictureText(told.width, told.height, told.type), path(),
                           pictureText(found.width, found.height, found.type)));
}

/// A lossy form has other pixels than those that were exported.
void DescribedPages::requireFile() const
{
    if (!m_sidecar.checksum.isEmpty() && PixelChecksum::ofFile(path()) != m_sidecar.checksum)
        refuseOtherPixels();
}

void DescribedPages::refuseOtherPixels() const
{
    refuseSidecar(QStringLiteral("describes other pixels than those of %1").arg(path()));
}

void DescribedPages::refuseSidecar(const QString& problem) const
{
    refuse(
        m_sidecarPath, problem,
        QStringLiteral("remove it if it belongs to another recording, or import the pixels alone with --pixels-only"));
}

} // namespace

std::unique_ptr<FramePages> describedPages(std::unique_ptr<FramePages> pages, const Sidecar& sidecar,
                                           const QString& sidecarPath)
{
    return std::make_unique<DescribedPages>(std::move(pages), sidecar, sidecarPath);
}

std::unique_ptr<FramePages> pixelsAlone(std::unique_ptr<FramePages> pages)
{
    return std::make_unique<WrappedPages>(std::move(pages));
}

} // namespace zd::movietools
