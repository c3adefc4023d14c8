#pragma once

#include <libdataio/pixeltypes.h>

#include <QString>
#include <QStringList>

/// The samples of pixel types, and short names of these types: u8, s8, u16, s16, u32, s32, f32, f64, rgb8, rgba8.
namespace zd::movietools {

enum class SampleKind : int {
    Unsigned,
    Signed,
    Float,
};

/// What the samples of a pixel type are.
struct SampleFormat {
    SampleKind kind = SampleKind::Unsigned;
    int bits = 0;     ///< of each channel
    int channels = 0; ///< 1, 3 (red, green, blue) or 4 (and opacity); 0: no samples that are known

    int pixelBytes() const { return bits / 8 * channels; }
    friend bool operator==(const SampleFormat&, const SampleFormat&) = default;
};

/// The samples of a type; without channels for `ZD_UNKNOWN` and numbers outside the enumeration.
SampleFormat sampleFormat(ZDImagePixelType type);

/// The type of such samples, `ZD_UNKNOWN` when movies have none; 32-bit integers give `ZD_UINT` and `ZD_INT`.
ZDImagePixelType pixelType(const SampleFormat& samples);

/// Whether pixels of a type have several channels.
bool isColored(ZDImagePixelType type);

/// The name; types that hold the same samples share one. Empty for `ZD_UNKNOWN` and numbers outside the enumeration.
QString sampleTypeName(ZDImagePixelType type);

/// The type of that name; `ZD_UNKNOWN` for any other text.
ZDImagePixelType sampleTypeNamed(const QString& name);

/// All names.
QStringList sampleTypeNames();

} // namespace zd::movietools
