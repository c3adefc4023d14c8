#include <movietools/exchange/tiff/tiffwriter_p.h>

#include <movietools/job/joberror.h>

#include <cerrno>
#include <limits>

namespace zd::movietools {

namespace {

// Upper bound of what a page takes besides its pixels: its directory and what the entries point to.
constexpr std::uint64_t bytesOfDirectory = 512;

int formatOf(SampleKind kind)
{
    switch (kind) {
    case SampleKind::Float:
        return SAMPLEFORMAT_IEEEFP;
    case SampleKind::Signed:
        return SAMPLEFORMAT_INT;
    default:
        return SAMPLEFORMAT_UINT;
    }
}

} // namespace

std::uint64_t TiffFirstPage::bytes() const
{
    return static_cast<std::uint64_t>(description.size()) + 3 * sizeof(std::uint16_t) * colors[0].size();
}

bool needsBigTiff(std::uint64_t pages, std::uint64_t frameBytes, std::uint64_t descriptionBytes)
{
    return pages * (frameBytes + bytesOfDirectory) + descriptionBytes + bytesOfDirectory >
           std::numeric_limits<std::uint32_t>::max();
}

TiffWriter::TiffWriter(const QString& workPath, const QString& path, bool big, const PageFormat& format,
                       const TiffFirstPage& first)
    : m_workPath(workPath),
      m_path(path),
      m_format(format),
      m_samples(sampleFormat(format.type)),
      m_first(first),
      m_file(TiffFile::create(workPath, path, big))
{
}

void TiffWriter::add(const void* pixels)
{
    describePage();
    errno = 0; // the TIFF library also fails for reasons of its own
    // It takes a plain pointer because it could turn bytes around; it has no reason to here.
    const tmsize_t written =
        TIFFWriteRawStrip(m_file.handle(), 0, const_cast<void*>(pixels), static_cast<tmsize_t>(m_format.frameBytes()));
    if (written < 0 || TIFFWriteDirectory(m_file.handle()) == 0 || m_file.hasErrors())
        reportFailure();
    ++m_pages;
}

void TiffWriter::describePage()
{
    ::TIFF* page = m_file.handle();
    TIFFSetField(page, TIFFTAG_IMAGEWIDTH, m_format.width);
    TIFFSetField(page, TIFFTAG_IMAGELENGTH, m_format.height);
    TIFFSetField(page, TIFFTAG_ROWSPERSTRIP, m_format.height);
    TIFFSetField(page, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(page, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(page, TIFFTAG_BITSPERSAMPLE, m_samples.bits);
    TIFFSetField(page, TIFFTAG_SAMPLEFORMAT, formatOf(m_samples.kind));
    TIFFSetField(page, TIFFTAG_SAMPLESPERPIXEL, m_samples.channels);
    TIFFSetField(page, TIFFTAG_PHOTOMETRIC, m_samples.channels > 1 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    if (m_samples.channels == 4) {
        const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
        TIFFSetField(page, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    }
    if (m_pages == 0)
        describeFirstPage();
}

void TiffWriter::describeFirstPage()
{
    ::TIFF* page = m_file.handle();
    TIFFSetField(page, TIFFTAG_SOFTWARE, "DataIO vqf");
    if (!m_first.description.isEmpty())
        TIFFSetField(page, TIFFTAG_IMAGEDESCRIPTION, m_first.description.constData());
    if (!m_first.colors[0].empty())
        TIFFSetField(page, TIFFTAG_COLORMAP, m_first.colors[0].data(), m_first.colors[1].data(),
                     m_first.colors[2].data());
}

void TiffWriter::close()
{
    errno = 0;
    if (!m_file.close())
        reportFailure();
    TiffFile stack = TiffFile::open(m_workPath);
    const tdir_t pages = TIFFNumberOfDirectories(stack.handle());
    if (pages != m_pages)
        refuse(m_path, QStringLiteral("got %1 of %2 pages").arg(pages).arg(m_pages),
               QStringLiteral("write it elsewhere"));
}

void TiffWriter::reportFailure() const
{
    if (m_file.systemErrorNumber() != 0)
        throw systemError(m_path, QStringLiteral("written"), m_file.systemErrorNumber());
    refuse(m_path, QStringLiteral("cannot be written: %1").arg(m_file.message()), QStringLiteral("write it elsewhere"));
}

} // namespace zd::movietools
