#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace zd::movietools {

/// In what other programs take movies.
enum class ExchangeForm {
    Tiff,         ///< "tif": a stack, one page for each frame
    OmeTiff,      ///< "ome.tif": a stack with the movie's header and times as OME-XML
    PngPictures,  ///< "png": a folder with a picture for each frame
    TiffPictures, ///< "tifs": the same as TIFF files
    Raw,          ///< "raw": the samples of all frames one after the other
    Npy,          ///< "npy": a NumPy array
    Csv,          ///< "csv": times and laser powers alone
    Mkv,          ///< "mkv": lossless video (FFV1)
    Mp4,          ///< "mp4": video to look at, lossy
};

/// The form of that name, and that of a file by its extension; nothing for any other.
std::optional<ExchangeForm> formNamed(const QString& name);
std::optional<ExchangeForm> formOfFile(const QString& path);
QString formName(ExchangeForm form);
/// All names.
QStringList formNames();

bool isFolder(ExchangeForm form); ///< a folder of pictures
bool isVideo(ExchangeForm form);
bool changesPixels(ExchangeForm form); ///< lossy: what comes back is not what was exported
bool hasSidecar(ExchangeForm form);    ///< one can stand beside it, for what the form itself cannot hold

/// Where the description of a movie lies beside its pixels: "NAME.json", in a folder of pictures "movie.json".
QString sidecarOf(const QString& path, bool isFolder);

} // namespace zd::movietools
