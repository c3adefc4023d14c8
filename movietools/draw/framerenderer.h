#pragma once

#include <libdataio/pixeltypes.h>
#include <movietools/frames/samplecolors.h>

#include <QImage>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace zd {
class ImageReader;
}

namespace zd::movietools {

/// Draws the frames of a movie as pictures of their full size, of every pixel type.
///
/// Samples are drawn through the movie's palette, over the range that the palette gives, so that brightness does
/// not flicker from frame to frame. Without a palette they are grey: 8-bit samples from their lowest to their highest
/// possible value, others over the contrast of the movie's first frame. RGB and RGBA frames are drawn as they are.
class FrameRenderer {
public:
    /// For an open movie, which must outlive the renderer.
    explicit FrameRenderer(ImageReader& movie);

    /// Size of every picture in pixels; empty when the header does not describe frames that can be drawn.
    QSize size() const { return m_size; }
    /// Bytes that a frame takes by the header; 0 when it cannot be drawn.
    std::int64_t frameBytes() const;
    QImage::Format format() const;
    /// Draws a frame into a picture of `size()` and `format()`. False when there is no such frame; samples that it
    /// lacks read as 0. Failures of `ImageReader::getFrame` pass through.
    bool draw(unsigned index, QImage& picture);

private:
    using Frame = std::span<const char>;

    std::optional<Frame> readFrame(unsigned index);
    void chooseColors(unsigned index);
    std::array<double, 2> rangeToShow(unsigned index);
    void drawSamples(const Frame& frame, QImage& picture) const;
    void drawColors(const Frame& frame, QImage& picture) const;

    ImageReader& m_movie;
    QSize m_size;
    ZDImagePixelType m_type = ZD_UNKNOWN;
    bool m_hasPalette;
    std::optional<SampleColors> m_colors; // chosen with the first picture
    std::vector<QRgb> m_table;            // one for each bit pattern of 8 and 16-bit samples
};

} // namespace zd::movietools
