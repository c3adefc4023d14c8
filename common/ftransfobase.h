#pragma once

#include <common/export.h>

namespace zd {

/// A palette's transfer function: bends positions in [0, 1] before they are coloured.
class DATAIO_COMMON_EXPORT FTransfoBase {
public:
    virtual ~FTransfoBase();

    /// The transformed position, in [0, 1], of a position in [0, 1].
    virtual double value(float position) const = 0;
};

/// The power law position ^ exponent, the usual gamma correction.
class DATAIO_COMMON_EXPORT GammaTransfo final : public FTransfoBase {
public:
    /// `exponent` above 0 and finite; anything else counts as 1 (the identity).
    explicit GammaTransfo(double exponent);
    /// Positions outside [0, 1] count as the nearer end, what is not a number as 0.
    double value(float position) const override;
    double exponent() const { return m_exponent; }

private:
    double m_exponent;
};

} // namespace zd
