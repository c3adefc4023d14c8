#pragma once

#include <libdataio/pixeltypes.h>

#include <QString>

/// Words of the program that makes and reads videos.
namespace zd::movietools {

/// Its name for pixels in memory of this machine; empty for those it does not know.
QString videoPixels(ZDImagePixelType type);

/// A file in its arguments: never an option or an address on the network, whatever its name.
QString videoAddress(const QString& path);

} // namespace zd::movietools
