#pragma once

#include <libdataio/detail/colortable_p.h>

#include <QImage>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>

namespace zd {
class ZdPalette;
}

namespace zd::detail {

/// A frame to draw: its samples row by row, at any alignment, and how many bytes of them there are. Samples that
/// `bytes` does not reach read as 0.
struct FrameSamples {
    const void* data = nullptr;
    std::int64_t bytes = 0;
    int width = 0;  ///< pixels, at least 1
    int height = 0; ///< pixels, at least 1
};

/// Size of a thumbnail, and how many pixels of the frame one of its pixels spans.
struct ThumbnailGeometry {
    int width = 0;
    int height = 0;
    float scale = 1;
};

/// The thumbnail of a frame of `width` x `height` pixels in a box of `maxWidth` x `maxHeight`, larger than the frame
/// when the box is. Nothing when a side of frame, box or thumbnail is below 1, and when the thumbnail takes more
/// than 256 MiB at four bytes a pixel.
std::optional<ThumbnailGeometry> thumbnailGeometry(int width, int height, int maxWidth, int maxHeight);

/// Range of the sample values of a frame.
struct Contrast {
    int minimum = 0;
    int maximum = 0;
};

/// The contrast of the middle of a frame of 16-bit samples, taken as signed: every fourth row and column; values
/// below -16383 count as -16383 in the maximum and not at all in the minimum. The range is at least 32 wide.
Contrast measureContrast(const FrameSamples& frame);

/// Where a contrast lies in the crop range of a palette.
struct PaletteStretch {
    bool validRange = false;  ///< whether the crop range is wider than 0; when not, the rest says nothing
    bool lowOutside = false;  ///< whether the minimum lies outside the crop range; `low` is then 0
    bool highOutside = false; ///< whether the maximum lies outside the crop range; `high` is then 1
    float low = 0;            ///< normalised position of the minimum
    float high = 1;           ///< normalised position of the maximum
};

/// The positions between which the nodes of `palette` show that contrast.
PaletteStretch paletteStretch(const ZdPalette& palette, const Contrast& contrast);

/// Limits the crop range of a palette for 8-bit samples: minimum at least 0, maximum at most 32767.
void limitCropRange(ZdPalette& palette);

/// Draws a frame of 8-bit samples as an indexed picture with the colours of `table`; entries that the table does
/// not hold are opaque black. Null when there is no memory for the picture.
QImage renderIndexed8(const FrameSamples& frame, const ThumbnailGeometry& geometry, std::span<const QRgb> table);

/// Draws a frame of 16-bit samples as an RGB32 picture through a table of 65536 colours, which `tableOf` makes for the
/// range of samples that the picture shows; with a table of any other size the picture is opaque black. Null when there
/// is no memory for the picture.
QImage renderRgb32(const FrameSamples& frame, const ThumbnailGeometry& geometry,
                   const std::function<ColorTable(ValueRange shown)>& tableOf);

} // namespace zd::detail
