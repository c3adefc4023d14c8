#pragma once

#include <movietools/exchange/framepages_p.h>
#include <movietools/exchange/sidecar_p.h>

#include <memory>

namespace zd::movietools {

/// Pages with what a sidecar at `sidecarPath` says of them. The sidecar must be theirs: a number, size or type of frames
/// or a checksum that differs is refused, at the latest with the last page's pixels, since another recording's times and
/// header are worse than none. Throws JobError.
std::unique_ptr<FramePages> describedPages(std::unique_ptr<FramePages> pages, const Sidecar& sidecar,
                                           const QString& sidecarPath);

/// Pages whose own description is not wanted.
std::unique_ptr<FramePages> pixelsAlone(std::unique_ptr<FramePages> pages);

} // namespace zd::movietools
