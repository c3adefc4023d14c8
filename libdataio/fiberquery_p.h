#pragma once

#include <libdataio/detail/fibergeometry_p.h>

#include <cstddef>
#include <vector>

namespace zd {

class MovieHeader;

/// The fibres of a movie, as fractions of its frame.
struct FiberQuery {
    enum class Outcome {
        Done,
        NoDistortion,    ///< kept by the frame alone: the header of the raw image does not describe its distortion
        UnknownDataType, ///< nothing was kept
    };

    void all(std::vector<float>& out) const { detail::fiberPositions(fractions, fibers, frame, out); }
    void clamped(std::vector<float>& out) const { detail::clampedFiberPositions(fractions, fibers, frame, out); }
    /// Those inside the bundle's outline, or inside the frame alone when the header does not describe it.
    Outcome inBundle(const MovieHeader& header, std::vector<float>& out) const;

    const float* fractions = nullptr; ///< x and y of each fibre
    std::size_t fibers = 0;
    detail::FiberFrame frame;
};

} // namespace zd
