#include <movietools/exchange/tiff/tiffpages_p.h>

#include <movietools/exchange/tiff/omexml_p.h>
#include <movietools/exchange/tiff/tiffdirectory_p.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/joberror.h>

#include <QRegularExpression>

#include <algorithm>
#include <cstring>

namespace zd::movietools {

namespace {

std::uint16_t shortField(::TIFF* tiff, std::uint32_t tag, std::uint16_t otherwise)
{
    std::uint16_t value = 0;
    return TIFFGetFieldDefaulted(tiff, tag, &value) != 0 ? value : otherwise;
}

std::uint32_t longField(::TIFF* tiff, std::uint32_t tag, std::uint32_t otherwise)
{
    std::uint32_t value = 0;
    return TIFFGetFieldDefaulted(tiff, tag, &value) != 0 ? value : otherwise;
}

// The type of such samples; `ZD_UNKNOWN` when movies have none. Samples without a declared format have no sign.
ZDImagePixelType typeOf(std::uint16_t bits, std::uint16_t format, std::uint16_t channels)
{
    switch (format) {
    case SAMPLEFORMAT_UINT:
    case SAMPLEFORMAT_VOID:
        return pixelType({SampleKind::Unsigned, bits, channels});
    case SAMPLEFORMAT_INT:
        return pixelType({SampleKind::Signed, bits, channels});
    case SAMPLEFORMAT_IEEEFP:
        return pixelType({SampleKind::Float, bits, channels});
    default:
        return ZD_UNKNOWN;
    }
}

QString samplesText(std::uint16_t bits, std::uint16_t format, std::uint16_t channels)
{
    const char* kind = format == SAMPLEFORMAT_IEEEFP ? " float" : format >= SAMPLEFORMAT_COMPLEXINT ? " complex" : "";
    const QString sample = QStringLiteral("%1-bit%2 samples").arg(bits).arg(QLatin1StringView(kind));
    return channels == 1 ? sample : QStringLiteral("%1 channels of %2").arg(channels).arg(sample);
}

QString descriptionText(::TIFF* tiff)
{
    const char* text = nullptr;
    const bool isThere = TIFFGetField(tiff, TIFFTAG_IMAGEDESCRIPTION, &text) != 0 && text != nullptr;
    return isThere ? QString::fromUtf8(text) : QString();
}

// The number of images that an ImageJ description announces; 0 without one.
std::uint64_t announcedImages(::TIFF* tiff)
{
    const QString text = descriptionText(tiff);
    if (!text.startsWith(QLatin1StringView("ImageJ=")))
        return 0;
    static const QRegularExpression images(QStringLiteral("^images=([0-9]{1,9})$"),
                                           QRegularExpression::MultilineOption);
    return images.match(text).captured(1).toULongLong();
}

} // namespace

/// The pieces in which the current page is stored: strips or tiles, of one channel when channels lie apart.
struct TiffPages::Blocks {
    bool tiled;
    std::uint32_t width; // of a block, in pixels; tiles reach beyond the page's edges
    std::uint32_t height;
    std::uint64_t pixelBytes; // in the block
    std::uint64_t bytes;      // of a whole block
};

TiffPages::TiffPages(const QString& path) : m_path(path), m_file(TiffFile::open(path))
{
    readFormat();
    checkForHiddenImages();
}

std::optional<MovieDescription> TiffPages::description()
{
    const QString text = descriptionText(m_file.handle());
    if (text.isEmpty() && hasTag(TIFFTAG_IMAGEDESCRIPTION))
        refuse(m_path, QStringLiteral("has a description that cannot be read"),
               QStringLiteral("try again, or import its pixels alone with --pixels-only"));
    if (!isOmeXml(text))
        return std::nullopt;
    try {
        return readOmeXml(text);
    } catch (const OmeXmlError& error) {
        refuse(m_path, QStringLiteral("has OME metadata that %1").arg(error.problem),
               QStringLiteral("import its pixels alone with --pixels-only"));
    }
}

bool TiffPages::next()
{
    if (TIFFLastDirectory(m_file.handle()) != 0) {
        const std::optional<TiffDirectory> last = TiffDirectory::ofCurrentPage(m_file.handle());
        if (!last || last->next != 0)
            refuse(m_path,
                   QStringLiteral("ends or cannot be read behind page %1, where it says what follows").arg(m_page),
                   QStringLiteral("the file is damaged or ends early: use another copy"));
        return false;
    }
    ++m_page;
    m_file.forget();
    if (TIFFReadDirectory(m_file.handle()) == 0)
        reportDamage();
    readFormat();
    return true;
}

bool TiffPages::hasTag(std::uint16_t tag) const
{
    const std::optional<TiffDirectory> directory = TiffDirectory::ofCurrentPage(m_file.handle());
    return !directory || directory->tags.contains(tag);
}

void TiffPages::readFormat()
{
    ::TIFF* tiff = m_file.handle();
    const std::uint16_t bits = shortField(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    const std::uint16_t format = shortField(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    const std::uint16_t channels = shortField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    const std::uint16_t photometric =
        shortField(tiff, TIFFTAG_PHOTOMETRIC, channels < 3 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    const bool isGrey = photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    const bool isColour = photometric == PHOTOMETRIC_RGB || photometric == PHOTOMETRIC_YCBCR;

    if (photometric == PHOTOMETRIC_PALETTE)
        refusePage(QStringLiteral("shows its samples through a colour table"));
    m_format.width = longField(tiff, TIFFTAG_IMAGEWIDTH, 0);
    m_format.height = longField(tiff, TIFFTAG_IMAGELENGTH, 0);
    m_format.type = typeOf(bits, format, channels);
    m_format.whiteIsZero = photometric == PHOTOMETRIC_MINISWHITE;
    if (m_format.type == ZD_UNKNOWN)
        refusePage(QStringLiteral("has %1").arg(samplesText(bits, format, channels)));
    if (channels == 1 ? !isGrey : !isColour)
        refusePage(QStringLiteral("has colours of another kind than grey and RGB"));
    checkStorage();
}

void TiffPages::checkStorage()
{
    ::TIFF* tiff = m_file.handle();
    const std::uint16_t compression = shortField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    const bool isYCbCr = shortField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK) == PHOTOMETRIC_YCBCR;

    if (TIFFIsCODECConfigured(compression) == 0)
        refusePage(QStringLiteral("is compressed by a method (%1) that is not available here").arg(compression));
    if (isYCbCr && compression != COMPRESSION_JPEG)
        refusePage(QStringLiteral("has colours of another kind than grey and RGB"));
    if (isYCbCr)
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    if (shortField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) != ORIENTATION_TOPLEFT)
        refusePage(QStringLiteral("is stored turned or mirrored"));
    if (longField(tiff, TIFFTAG_IMAGEDEPTH, 1) != 1)
        refusePage(QStringLiteral("is a volume"));
    const std::uint64_t pixels = std::uint64_t{m_format.width} * m_format.height;
    if (pixels == 0)
        refusePage(QStringLiteral("is empty"));
    if (pixels > largestFrame || m_format.frameBytes() > largestFrame)
        refusePage(QStringLiteral("is larger than a movie (2^31 bytes)"));
    m_separate = shortField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE &&
                 sampleFormat(m_format.type).channels > 1;
}

// Stacks over 4 GB are often written as one page with the pixels of all others behind it.
void TiffPages::checkForHiddenImages()
{
    const std::uint64_t images = announcedImages(m_file.handle());
    const bool haveRoom = images * m_format.frameBytes() <= static_cast<std::uint64_t>(m_file.bytes());
    if (images > 1 && haveRoom && TIFFLastDirectory(m_file.handle()) != 0)
        refuse(m_path, QStringLiteral("keeps %1 images behind a single page").arg(images),
               QStringLiteral("save it with a page for each image"));
}

void TiffPages::readPixels(char* pixels)
{
    m_file.forget();
    if (m_separate || TIFFIsTiled(m_file.handle()) != 0)
        readBlocks(pixels);
    else
        readStrips(pixels);
}

// Strips of whole pixels are decoded straight into their place.
void TiffPages::readStrips(char* pixels)
{
    ::TIFF* tiff = m_file.handle();
    const std::uint64_t rowBytes = m_format.frameBytes() / m_format.height;
    const std::uint32_t stripRows =
        std::clamp<std::uint32_t>(longField(tiff, TIFFTAG_ROWSPERSTRIP, m_format.height), 1, m_format.height);
    if (TIFFScanlineSize64(tiff) != rowBytes)
        reportDamage();
    std::uint32_t strip = 0;
    for (std::uint64_t row = 0; row < m_format.height; row += stripRows) {
        const std::uint64_t size = std::min<std::uint64_t>(stripRows, m_format.height - row) * rowBytes;
        checkRead(TIFFReadEncodedStrip(tiff, strip++, pixels + row * rowBytes, static_cast<tmsize_t>(size)), size);
    }
}

TiffPages::Blocks TiffPages::blocks() const
{
    ::TIFF* tiff = m_file.handle();
    const SampleFormat samples = sampleFormat(m_format.type);
    Blocks blocks{};
    blocks.tiled = TIFFIsTiled(tiff) != 0;
    blocks.width = blocks.tiled ? longField(tiff, TIFFTAG_TILEWIDTH, 0) : m_format.width;
    blocks.height = blocks.tiled ? longField(tiff, TIFFTAG_TILELENGTH, 0)
                                 : std::min(longField(tiff, TIFFTAG_ROWSPERSTRIP, m_format.height), m_format.height);
    blocks.pixelBytes = static_cast<std::uint64_t>(m_separate ? samples.bits / 8 : samples.pixelBytes());
    blocks.bytes = blocks.tiled ? TIFFTileSize64(tiff) : TIFFStripSize64(tiff);
    const bool isWhole = blocks.width > 0 && blocks.height > 0 && blocks.bytes <= largestFrame &&
                         blocks.bytes / blocks.width / blocks.height == blocks.pixelBytes &&
                         blocks.bytes % blocks.width == 0;
    if (!isWhole)
        reportDamage();
    return blocks;
}

void TiffPages::readBlocks(char* pixels)
{
    ::TIFF* tiff = m_file.handle();
    const Blocks blocks = this->blocks();
    if (m_blockSize < blocks.bytes) {
        m_block = std::make_unique_for_overwrite<char[]>(blocks.bytes);
        m_blockSize = blocks.bytes;
    }
    const int planes = m_separate ? sampleFormat(m_format.type).channels : 1;
    std::uint32_t index = 0;
    for (int plane = 0; plane < planes; ++plane) {
        for (std::uint64_t top = 0; top < m_format.height; top += blocks.height) {
            for (std::uint64_t left = 0; left < m_format.width; left += blocks.width, ++index) {
                const std::uint64_t rows = std::min<std::uint64_t>(blocks.height, m_format.height - top);
                const std::uint64_t size = blocks.tiled ? blocks.bytes : rows * blocks.width * blocks.pixelBytes;
                const auto capacity = static_cast<tmsize_t>(size);
                checkRead(blocks.tiled ? TIFFReadEncodedTile(tiff, index, m_block.get(), capacity)
                                       : TIFFReadEncodedStrip(tiff, index, m_block.get(), capacity),
                          size);
                placeBlock(blocks, static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top), plane, pixels);
            }
        }
    }
}

void TiffPages::placeBlock(const Blocks& blocks, std::uint32_t left, std::uint32_t top, int channel, char* pixels) const
{
    const auto step = static_cast<std::uint64_t>(m_separate ? sampleFormat(m_format.type).channels : 1);
    const std::uint64_t columns = std::min(blocks.width, m_format.width - left);
    const std::uint64_t rows = std::min(blocks.height, m_format.height - top);
    for (std::uint64_t row = 0; row < rows; ++row) {
        const char* source = m_block.get() + row * blocks.width * blocks.pixelBytes;
        char* target = pixels + ((top + row) * m_format.width + left) * step * blocks.pixelBytes + channel;
        if (step == 1) {
            std::memcpy(target, source, columns * blocks.pixelBytes);
        } else { // channels that lie apart have one byte a sample
            for (std::uint64_t column = 0; column < columns; ++column)
                target[column * step] = source[column];
        }
    }
}

// The JPEG decoder makes up what a file that ends early lacks, and only warns.
void TiffPages::checkRead(tmsize_t read, std::uint64_t expected)
{
    const bool isMadeUp =
        m_file.hasWarnings() && shortField(m_file.handle(), TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_JPEG;
    if (read < 0 || static_cast<std::uint64_t>(read) != expected || m_file.hasErrors() || isMadeUp)
        reportDamage();
}

void TiffPages::refusePage(const QString& what) const
{
    refuse(m_path, QStringLiteral("page %1 %2").arg(m_page).arg(what),
           QStringLiteral("movies hold grey pixels of 8, 16 or 32-bit integers or 32 or 64-bit floats, and RGB "
                          "or RGBA of 8 bits: convert the stack"));
}

void TiffPages::reportDamage() const
{
    refuse(m_path, QStringLiteral("page %1 cannot be read: %2").arg(m_page).arg(m_file.message()),
           QStringLiteral("the file is damaged or ends early: use another copy"));
}

std::unique_ptr<FramePages> openTiffPages(const QString& path)
{
    return std::make_unique<TiffPages>(path);
}

} // namespace zd::movietools
