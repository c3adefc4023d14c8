#pragma once

#include <movietools/exchange/exchangeform.h>
#include <movietools/frames/pageformat.h>
#include <movietools/movie/moviedescription.h>

#include <QByteArray>
#include <QString>

#include <optional>

/// The JSON file beside pixels that cannot hold the rest of a movie themselves.
namespace zd::movietools {

/// What it says.
struct Sidecar {
    QString file; ///< name of the file or folder of the pixels, without its path
    ExchangeForm form = ExchangeForm::Raw;
    PageFormat format; ///< of the frames as they were exported
    unsigned frames = 0;
    std::uint64_t offset = 0;   ///< bytes in `file` before the first sample
    std::uint32_t zero = 0;     ///< what a sample of 0 became in pictures without a sign: 0, 128 or 32768
    double framesPerSecond = 0; ///< of a video; 0: none
    QString checksum; ///< a PixelChecksum of the frames, or of the file where the form changes pixels; may be empty
    MovieDescription description;
};

QByteArray sidecarText(const Sidecar& sidecar);

/// Whether the file at `path` is a sidecar, of whatever pixels. Throws JobError when it cannot be read.
bool isSidecar(const QString& path);

/// Reads the file at `path`; nothing when there is none or it is no such file. Throws JobError for one that cannot be
/// read or contradicts itself.
std::optional<Sidecar> readSidecar(const QString& path);

} // namespace zd::movietools
