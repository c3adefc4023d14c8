#pragma once

#include <libdataio/detail/fibergeometry_p.h>
#include <libdataio/detail/rounding_p.h>

namespace zd::detail {

/// The last column and row of a frame.
struct FrameLimits {
    explicit FrameLimits(FiberFrame frame)
        : lastColumn(static_cast<double>(frame.width) - 1), lastRow(static_cast<double>(frame.height) - 1)
    {
    }

    bool contain(float column, float row) const
    {
        return 0 <= column && column <= lastColumn && 0 <= row && row <= lastRow;
    }

    double lastColumn;
    double lastRow;
};

/// Rectangle that the fibre bundle covers, in pixels.
struct BundleBox {
    float minX = 0;
    float minY = 0;
    float maxX = 0;
    float maxY = 0;
};

/// The ellipse inscribed in the box of a bundle.
struct BundleEllipse {
    explicit BundleEllipse(const BundleBox& box)
        : squareX(quarterSquare(box.maxX - box.minX)),
          squareY(quarterSquare(box.maxY - box.minY)),
          centerX((box.minX + box.maxX) * 0.5),
          centerY((box.minY + box.maxY) * 0.5)
    {
    }

    /// Whether a position, both as it is and rounded to the pixel, lies inside.
    bool contains(float column, float row) const
    {
        return distance(column, row) <= 1 && distance(roundHalfEven(column), roundHalfEven(row)) <= 1;
    }

    double squareX; ///< squares of the half-axes
    double squareY;
    double centerX;
    double centerY;

private:
    static double quarterSquare(float side) { return 0.25 * (static_cast<double>(side) * side); }

    /// Squared distance from the centre, 1 on the outline.
    double distance(double column, double row) const
    {
        const double dx = column - centerX;
        const double dy = row - centerY;
        return dx * dx / squareX + dy * dy / squareY;
    }
};

} // namespace zd::detail
