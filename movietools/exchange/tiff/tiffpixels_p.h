#pragma once

#include <libdataio/pixeltypes.h>

#include <cstdint>

namespace zd::movietools {

/// How a TIFF file describes the samples of one pixel type.
struct TiffSamples {
    std::uint16_t bits = 0;        ///< of each channel
    std::uint16_t format = 0;      ///< SAMPLEFORMAT_UINT, SAMPLEFORMAT_INT or SAMPLEFORMAT_IEEEFP
    std::uint16_t channels = 0;    ///< 1, 3 or 4
    std::uint16_t photometric = 0; ///< PHOTOMETRIC_MINISBLACK or PHOTOMETRIC_RGB

    int pixelBytes() const { return bits / 8 * channels; }
    friend bool operator==(const TiffSamples&, const TiffSamples&) = default;
};

/// The description of a pixel type; without channels for `ZD_UNKNOWN` and numbers outside the enumeration.
TiffSamples tiffSamples(ZDImagePixelType type);

/// The type of such pixels, `ZD_UNKNOWN` when movies have none. Samples without a declared format count as
/// unsigned; 32-bit integers give `ZD_UINT` and `ZD_INT`. The photometric interpretation is not looked at.
ZDImagePixelType pixelType(std::uint16_t bits, std::uint16_t format, std::uint16_t channels);

} // namespace zd::movietools
