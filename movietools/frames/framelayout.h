#pragma once

#include <libdataio/attributechunk.h>
#include <libdataio/pixeltypes.h>
#include <movietools/frames/pageformat.h>

#include <QStringList>

#include <cstdint>
#include <optional>

namespace zd {
class ImageReader;
}

/// What a header says of the frames' bytes.
namespace zd::movietools {

/// Bytes of one frame by width, height and the bits of a pixel; nothing when one of them is missing or not above 0,
/// or the product does not fit.
std::optional<std::int64_t> frameBytes(const AttributeChunk& header);

/// Sets what is missing of frame size, pixel type and byte order so that a frame has that many bytes, by what is
/// common: well-known frame sizes, squares, 16-bit samples. Values that are there stay. Returns the names of what it
/// set; none when the header was complete, or contradicts every guess.
QStringList guessFrameLayout(AttributeChunk& header, std::int64_t bytes);

/// The type of a movie's samples; sample depths without a type of their own give the type that holds them. `ZD_UNKNOWN`
/// when the header does not tell.
ZDImagePixelType sampleType(ImageReader& movie);

/// Size and type of the frames of the movie at `path`, as its header tells. Throws JobError, with that advice, when it does
/// not, or claims frames larger than any movie.
PageFormat frameFormat(ImageReader& movie, const QString& path, const QString& advice);

} // namespace zd::movietools
