#pragma once

#include <movietools/compare/moviedifferences.h>

#include <libdataio/pixeltypes.h>

#include <cstddef>

namespace zd::movietools {

/// Compares the samples of one frame of two movies whose pictures have one size and type.
struct SampleComparison {
    ZDImagePixelType type;
    std::uint64_t width; ///< of the picture
    unsigned frame;

    /// Compares the whole samples among `size` bytes, which need no alignment, and enters what differs. Returns whether
    /// all bytes are the same.
    bool compare(const char* a, const char* b, std::size_t size, MovieDifferences& result) const;

private:
    template <typename Sample>
    bool compareAs(const char* a, const char* b, std::size_t size, MovieDifferences& result) const;
    DifferingSample sampleAt(std::size_t index, double a, double b) const;
};

} // namespace zd::movietools
