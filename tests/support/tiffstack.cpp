#include <tests/support/tiffstack.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <tiffio.h>

namespace zd::test {

namespace {

using Handle = std::unique_ptr<::TIFF, void (*)(::TIFF*)>;

Handle openTiff(const QString& path, const char* mode)
{
    Handle tiff(TIFFOpen(path.toUtf8().constData(), mode), &TIFFClose);
    if (!tiff)
        throw std::runtime_error("cannot open " + path.toStdString());
    return tiff;
}

void require(bool done)
{
    if (!done)
        throw std::runtime_error("the TIFF library failed");
}

// The JPEG codec turns colours around only when it is asked to.
void exchangeRgb(::TIFF* tiff, std::uint16_t photometric)
{
    if (photometric == PHOTOMETRIC_YCBCR)
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
}

void describePage(::TIFF* tiff, const StackForm& form, std::uint32_t width, std::uint32_t height)
{
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, int{form.bits});
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, int{form.format});
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, int{form.channels});
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, int{form.photometric});
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, int{form.compression});
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, int{form.orientation});
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, form.separate ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    exchangeRgb(tiff, form.photometric);
    if (form.photometric == PHOTOMETRIC_PALETTE) {
        std::vector<std::uint16_t> ramp(std::size_t{1} << form.bits);
        TIFFSetField(tiff, TIFFTAG_COLORMAP, ramp.data(), ramp.data(), ramp.data());
    }
    if (form.tile == 0) {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, form.compression == COMPRESSION_JPEG ? 16 : 3);
    } else {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, form.tile);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, form.tile);
    }
}

// One channel of a page, when channels lie apart; else the whole page.
std::string plane(const std::string& pixels, const StackForm& form, unsigned channel)
{
    if (!form.separate)
        return pixels;
    std::string samples;
    for (std::size_t i = channel; i < pixels.size(); i += form.channels)
        samples.push_back(pixels[i]);
    return samples;
}

void writeTiles(::TIFF* tiff, const std::string& pixels, std::uint32_t width, std::uint32_t height, std::uint32_t side,
                std::uint16_t channel)
{
    const std::size_t pixelBytes = std::max<std::size_t>(pixels.size() / width / height, 1);
    for (std::uint32_t top = 0; top < height; top += side) {
        for (std::uint32_t left = 0; left < width; left += side) {
            std::string tile(side * side * pixelBytes, '\x55');
            for (std::uint32_t row = 0; row < std::min(side, height - top); ++row) {
                const std::size_t columns = std::min(side, width - left);
                tile.replace(row * side * pixelBytes, columns * pixelBytes, pixels,
                             ((top + row) * width + left) * pixelBytes, columns * pixelBytes);
            }
            require(TIFFWriteTile(tiff, tile.data(), left, top, 0, channel) > 0);
        }
    }
}

void writePage(::TIFF* tiff, const StackForm& form, std::uint32_t width, std::uint32_t height,
               const std::string& pixels)
{
    for (std::uint16_t channel = 0; channel < (form.separate ? form.channels : 1); ++channel) {
        std::string samples = plane(pixels, form, channel);
        if (form.tile != 0) {
            writeTiles(tiff, samples, width, height, form.tile, channel);
            continue;
        }
        const std::size_t rowBytes = samples.size() / height;
        for (std::uint32_t row = 0; row < height; ++row)
            require(TIFFWriteScanline(tiff, samples.data() + row * rowBytes, row, channel) > 0);
    }
}

} // namespace

void writeStack(const QString& path, const StackForm& form, std::uint32_t width, std::uint32_t height,
                const std::vector<std::string>& pages)
{
    const Handle tiff = openTiff(path, form.mode);
    for (std::size_t page = 0; page < pages.size(); ++page) {
        describePage(tiff.get(), form, width, height);
        if (page == 0 && !form.description.empty())
            TIFFSetField(tiff.get(), TIFFTAG_IMAGEDESCRIPTION, form.description.c_str());
        writePage(tiff.get(), form, width, height, pages[page]);
        require(TIFFWriteDirectory(tiff.get()) != 0);
    }
}

std::vector<StackPage> readStack(const QString& path)
{
    const Handle tiff = openTiff(path, "r");
    std::vector<StackPage> pages;
    do {
        StackPage page;
        const char* text = nullptr;
        TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &page.width);
        TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &page.height);
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_BITSPERSAMPLE, &page.bits);
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLEFORMAT, &page.format);
        TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_SAMPLESPERPIXEL, &page.channels);
        TIFFGetField(tiff.get(), TIFFTAG_PHOTOMETRIC, &page.photometric);
        if (TIFFGetField(tiff.get(), TIFFTAG_IMAGEDESCRIPTION, &text) != 0)
            page.description = text;
        if (TIFFGetField(tiff.get(), TIFFTAG_SOFTWARE, &text) != 0)
            page.software = text;
        exchangeRgb(tiff.get(), page.photometric);
        const auto rowBytes = static_cast<std::size_t>(TIFFScanlineSize(tiff.get()));
        page.pixels.resize(rowBytes * page.height);
        for (std::uint32_t row = 0; row < page.height; ++row)
            require(TIFFReadScanline(tiff.get(), page.pixels.data() + row * rowBytes, row, 0) > 0);
        pages.push_back(page);
    } while (TIFFReadDirectory(tiff.get()) != 0);
    return pages;
}

std::string testPixels(std::size_t bytes, unsigned frame)
{
    std::string pixels(bytes, '\0');
    std::uint32_t state = 12345 + frame;
    for (char& byte : pixels) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 28U); // small values, so that compression has something to do
    }
    return pixels;
}

} // namespace zd::test
