#pragma once

#include <movietools/exchange/framepages_p.h>
#include <movietools/exchange/importoptions.h>

#include <QString>

#include <memory>

namespace zd::movietools {

/// Opens what is to be imported: by a sidecar, else as a folder, by its name, else as TIFF. With
/// `options.pixelsOnly` the pages have no description. Throws JobError.
std::unique_ptr<FramePages> openPages(const QString& path, const ImportOptions& options);

} // namespace zd::movietools
