#pragma once

#include <libdataio/attributechunk.h>

#include <QStringList>

#include <cstdint>
#include <optional>

/// What a header says of the frames' bytes.
namespace zd::movietools {

/// Bytes of one frame by width, height and the bits of a pixel; nothing when one of them is missing or not above 0,
/// or the product does not fit.
std::optional<std::int64_t> frameBytes(const AttributeChunk& header);

/// Sets what is missing of frame size, pixel type and byte order so that a frame has that many bytes, by what is
/// common: well-known frame sizes, squares, 16-bit samples. Values that are there stay. Returns the names of what it
/// set; none when the header was complete, or contradicts every guess.
QStringList guessFrameLayout(AttributeChunk& header, std::int64_t bytes);

} // namespace zd::movietools
