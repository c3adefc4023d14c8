#pragma once

#include <movietools/job/lostframe.h>

#include <QImage>

#include <vector>

namespace zd::movietools {

/// A picture made of the frames of a movie.
struct DrawnMovie {
    QImage picture;
    std::vector<LostFrame> lost; ///< frames that could not be read
};

} // namespace zd::movietools
