#pragma once

#include <movietools/frames/pageformat.h>

#include <QByteArray>
#include <QString>

#include <cstdint>

/// The header of NumPy's array files.
namespace zd::movietools {

/// What a header says of an array of frames: its axes are frame, row, column and, for colours, channel.
struct NpyArray {
    PageFormat format;
    std::uint64_t frames = 0;
    bool bigEndian = false;
    std::uint64_t offset = 0; ///< of the first sample in the file
};

/// The header of such an array in little-endian order, padded so that samples are aligned.
QByteArray npyHeader(const PageFormat& format, std::uint64_t frames);

/// Reads the header of a file by its first bytes, of which 64 KiB are enough. Throws JobError, which names `path`, for
/// anything that is no array of frames.
NpyArray readNpyHeader(const QByteArray& start, const QString& path);

} // namespace zd::movietools
