#pragma once

#include <libdataio/pixeltypes.h>
#include <movietools/frameselection.h>
#include <movietools/progress.h>

#include <QString>

#include <vector>

namespace zd::movietools {

/// What to make a TIFF stack from.
struct TiffExportOptions {
    QString movie;
    QString stack;         ///< the file to make
    bool replace = false;  ///< whether a file of that name may be replaced
    FrameSelection frames; ///< all, or some
};

/// A frame that the stack lacks, or has only in part.
struct LostFrame {
    unsigned frame = 0; ///< counted from 0
    QString reason;     ///< to be read after "frame N"
};

/// What was made.
struct TiffExportResult {
    unsigned frames = 0; ///< pages written
    int width = 0;
    int height = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    std::uint64_t bytes = 0; ///< length of the stack
    bool bigTiff = false;    ///< in the form for files over 4 GB
    std::vector<LostFrame> lost;
};

/// Writes frames of a movie as the pages of an uncompressed TIFF stack, sample values unchanged, with one strip a
/// page; the movie's comment becomes the description of the first page.
///
/// A frame that cannot be read or is cut short is left out and listed in the result; a frame with more bytes than its
/// picture needs is written without them and listed too. Holds one frame in memory. The stack appears under its
/// name when it is complete. Throws JobError, also when no frame at all could be read, and JobCancelled when
/// `progress` asks to stop.
TiffExportResult exportTiff(const TiffExportOptions& options, const ProgressCallback& progress);

/// Whether a stack of that many pages could exceed what plain TIFF files reach, 2^32 bytes.
bool needsBigTiff(std::uint64_t pages, std::uint64_t frameBytes, std::uint64_t descriptionBytes);

} // namespace zd::movietools
