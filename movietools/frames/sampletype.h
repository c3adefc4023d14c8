#pragma once

#include <libdataio/pixeltypes.h>

#include <QString>
#include <QStringList>

/// Short names of pixel types: u8, s8, u16, s16, u32, s32, f32, f64, rgb8, rgba8.
namespace zd::movietools {

/// The name; types that hold the same samples share one. Empty for `ZD_UNKNOWN` and numbers outside the enumeration.
QString sampleTypeName(ZDImagePixelType type);

/// The type of that name; `ZD_UNKNOWN` for any other text.
ZDImagePixelType sampleTypeNamed(const QString& name);

/// All names.
QStringList sampleTypeNames();

} // namespace zd::movietools
