#pragma once

#include <QString>

#include <cstdint>

namespace zd {
class ImageReader;
}

/// A look at files of unknown origin, for file managers and other people's programs: it takes less than 256 MiB of
/// memory and little time, whatever the file holds.
namespace zd::movietools {

/// Movies with more than that are not previewed, in bytes: of the header (170,000 frames fit), and of a frame.
inline constexpr std::uint32_t largestPreviewedHeader = 2 << 20;
inline constexpr std::uint32_t largestPreviewedFrame = 32 << 20;

/// Opens a movie within these limits; one beyond them has no header, or lacks the frame. Failures of
/// `ImageReader::open` pass through.
void openForPreview(ImageReader& movie, const QString& path);

} // namespace zd::movietools
