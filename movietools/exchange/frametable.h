#pragma once

#include <libdataio/frametimer.h>
#include <movietools/exchange/exportoptions.h>

#include <optional>
#include <vector>

/// Tables of frames as CSV: "frame,time,laser_power", times in seconds since 1970, a line for each frame, empty where a value is not known.
namespace zd::movietools {

/// Writes the table of the frames that `options` chooses; pixels are not read. Throws JobError.
ExportResult exportTable(const ExportOptions& options);

/// What a table says of each frame.
struct FrameTable {
    std::vector<std::optional<timeval>> times;
    std::vector<float> laserPowers; ///< negative: not known
};

/// Reads a table with these columns, in any order and among others. Throws JobError.
FrameTable readFrameTable(const QString& path);

} // namespace zd::movietools
