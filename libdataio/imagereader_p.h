#pragma once

#include <libdataio/filereader.h>
#include <libdataio/frametimer.h>
#include <libdataio/imagereader.h>
#include <libdataio/movieheader_p.h>
#include <libdataio/storedframe_p.h>

#include <QString>

#include <cstdint>
#include <vector>

namespace zd {

/// What a reader holds.
struct ImageReader::Private {
    /// Forgets what was loaded of a movie.
    void forget();

    FileReader file;
    MovieHeader header;
    FrameTimer frameTimer;
    std::vector<std::uint8_t> laserPowers; // as stored
    bool lacksSideData = false;
    std::int32_t frameCount = 0;
    std::int32_t cursor = 0;
    StoredFrame frame;
    QString fileName;
};

} // namespace zd
