#pragma once

#include <movietools/exchange/exportoptions.h>
#include <movietools/job/progress.h>

namespace zd::movietools {

/// Writes frames of a movie in a form that other programs take. Samples stay unchanged in all forms but "mp4", unless
/// a look is asked for; PNG pictures and videos keep signed samples with half of their range added.
///
/// A frame that cannot be read or is cut short is left out and listed in the result; a frame with more bytes than its
/// picture needs is written without them and listed too. Holds one frame in memory. The output appears under its
/// name when it is complete. Throws JobError, also when no frame at all could be read or the form cannot hold such
/// samples, and JobCancelled when `progress` asks to stop. Videos need the program ffmpeg.
ExportResult exportMovie(const ExportOptions& options, const ProgressCallback& progress);

} // namespace zd::movietools
