#pragma once

#include <libdataio/pixeltypes.h>
#include <movietools/exchange/exchangeform.h>
#include <movietools/frames/frameselection.h>
#include <movietools/job/lostframe.h>

#include <QString>

#include <optional>
#include <utility>
#include <vector>

namespace zd::movietools {

/// How samples become those of an export.
enum class FrameLook {
    AsStored, ///< unchanged
    Palette,  ///< RGB of 8 bits through the movie's palette
    Grey8,    ///< 8 bits, scaled
    Grey16,   ///< 16 bits, scaled
};

/// What to make from a movie.
struct ExportOptions {
    QString movie;
    QString output; ///< the file or folder to make
    ExchangeForm form = ExchangeForm::Tiff;
    bool replace = false;  ///< whether what has that name may be replaced
    FrameSelection frames; ///< all, or some
    FrameLook look = FrameLook::AsStored;
    std::optional<std::pair<double, double>> range; ///< values that scaling makes black and white; else the movie's
    bool sidecar = true;       ///< whether what the form cannot hold is written to a JSON file beside it
    bool fiberRegions = false; ///< whether an OME-TIFF has the fibre centres as a region of interest, too
};

/// What was made.
struct ExportResult {
    unsigned frames = 0; ///< written
    int width = 0;
    int height = 0;
    ZDImagePixelType type = ZD_UNKNOWN; ///< of the samples written
    std::uint64_t bytes = 0;            ///< length of the file, or of all files of a folder
    bool bigTiff = false;               ///< in the form for files over 4 GB
    std::vector<LostFrame> lost;
};

} // namespace zd::movietools
