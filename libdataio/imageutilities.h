#pragma once

#include <libdataio/export.h>

#include <QString>

namespace zd {

class ImageWriter;

/// Operations between movies.
class DATAIO_EXPORT ImageUtilities {
public:
    /// Merges the header of the movie `fileName` into that of `writer`, leaving out frame times that are
    /// kept as attributes. Values are copied as they are, "endian" and frame size included; values that only
    /// the writer has stay. Failures are those of `ImageReader::open`, before the writer has changed.
    static void copyVqfFileAttributes(ImageWriter& writer, const QString& fileName);
};

} // namespace zd
