#pragma once

#include <libdataio/pixeltypes.h>

#include <QString>

#include <cstdint>

/// Words for what messages and summaries tell.
namespace zd::movietools {

/// "812 bytes", "10.4 MB" (powers of ten).
QString sizeText(std::uint64_t bytes);

/// "16-bit unsigned", "RGB"; "unknown pixels" for numbers outside the enumeration.
QString pixelTypeText(ZDImagePixelType type);

/// "640 x 480, 16-bit unsigned".
QString pictureText(std::int64_t width, std::int64_t height, ZDImagePixelType type);

/// What chunks of a type hold: "frame"; "chunk of type 9" for those that the library does not use.
QString chunkText(std::uint32_t type);

} // namespace zd::movietools
