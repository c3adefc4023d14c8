#pragma once

#include <QImage>

#include <cstdint>
#include <vector>

namespace zd {
class ZdPalette;
}

namespace zd::bench {

/// The thumbnail of a 16-bit frame by plain loops, one colour and one pixel at a time: what the library is measured
/// against. Covers palettes without a transfer function and frames without a mask level.
class ScalarThumbnail {
public:
    ScalarThumbnail(int width, int height, int thumbnailWidth, int thumbnailHeight);

    /// Measures the contrast of the frame, stretches the palette to it and computes the colour of every sample.
    void buildTable(const std::uint16_t* samples, ZdPalette palette);
    /// Draws the picture through the table.
    QImage sample(const std::uint16_t* samples) const;

private:
    void _stretch(const std::uint16_t* samples, ZdPalette& palette) const;
    void _fill(int from, int to, const float* first, const float* last);

    int m_width;
    int m_height;
    int m_thumbnailWidth;
    int m_thumbnailHeight;
    std::vector<QRgb> m_table;
};

} // namespace zd::bench
