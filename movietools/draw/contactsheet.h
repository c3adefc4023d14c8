#pragma once

#include <movietools/draw/drawnmovie.h>
#include <movietools/frames/frameselection.h>
#include <movietools/job/progress.h>

#include <QString>

namespace zd::movietools {

/// What to show of a movie.
struct SheetOptions {
    QString movie;
    FrameSelection frames; ///< all, or some
    int pictures = 24;     ///< most pictures; frames in even steps when there are more. At least 1
    int columns = 0;       ///< pictures side by side; 0: as many as give a sheet that is wider than high
    int side = 160;        ///< of the square that each picture fits, in pixels; 16 to 2000
};

/// Draws frames as small pictures side by side as `FrameRenderer` does, each with its number and its time since the
/// movie's first frame. Frames that cannot be read are crossed out. Needs a QGuiApplication. Throws JobError, also for a
/// sheet of more than 256 MiB, and JobCancelled.
DrawnMovie contactSheet(const SheetOptions& options, const ProgressCallback& progress);

} // namespace zd::movietools
