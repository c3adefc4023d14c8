#pragma once

#include <movietools/draw/drawnmovie.h>
#include <movietools/frames/frameselection.h>
#include <movietools/job/progress.h>

#include <QSize>
#include <QString>

namespace zd::movietools {

/// What to plot of a movie.
struct PlotOptions {
    QString movie;
    FrameSelection frames; ///< all, or some
    QSize size{1000, 700}; ///< of the picture; 200 x 200 to 10000 x 10000
};

/// Draws the mean intensity of the frames, their laser power and the interval to the frame before, one above the other,
/// over their time since the movie's first frame, or over their number when the movie has no times. Reads every frame;
/// holds one. What the movie does not tell is left empty with a word about it. Needs a QGuiApplication. Throws JobError
/// and JobCancelled.
DrawnMovie plotMovie(const PlotOptions& options, const ProgressCallback& progress);

} // namespace zd::movietools
