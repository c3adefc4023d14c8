#pragma once

#include <movietools/frames/pageformat.h>

namespace zd::movietools {

/// Smallest and largest value of samples; `low` above `high` when there is no number among them.
struct SampleRange {
    double low = 0;
    double high = 0;
};

/// That of a frame, infinite and no numbers left out; that of colours counts every channel. Samples need no alignment.
SampleRange sampleRange(const PageFormat& format, const void* pixels);

/// Mean of the samples of a frame, infinite and no numbers left out; 0 when there are none.
double sampleMean(const PageFormat& format, const void* pixels);

} // namespace zd::movietools
