#pragma once

#include <libdataio/pixeltypes.h>

#include <QRgb>

#include <vector>

namespace zd {
class ZdPalette;
}

namespace zd::movietools {

/// The colour of every sample value of a movie, opaque.
class SampleColors {
public:
    /// Greys: black at `low` and below, white at `high` and above. `high` above `low`.
    static SampleColors greys(double low, double high);
    /// The palette's colours, from its first node at its data value to its last. The palette has a node; a transfer
    /// function, which no movie holds, is not looked at.
    static SampleColors ofPalette(const ZdPalette& palette);
    /// The palette's colours stretched from `low` to `high`, which is above it, wherever its own range lies.
    static SampleColors stretched(const ZdPalette& palette, double low, double high);

    /// The colour of a value; that of values below the range for what is no number.
    QRgb at(double value) const;
    /// The colour of every bit pattern of a type of 8 or 16 bits; nothing for wider types.
    std::vector<QRgb> table(ZDImagePixelType type) const;
    bool areGrey() const { return m_grey; }

private:
    SampleColors(double low, double high);

    double m_low;
    double m_high;
    bool m_grey = false;
    std::vector<QRgb> m_ramp; // evenly spaced from low to high
    QRgb m_below = 0;
    QRgb m_above = 0;
};

} // namespace zd::movietools
