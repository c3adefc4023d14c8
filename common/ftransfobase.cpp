#include <common/ftransfobase.h>

#include <cmath>

namespace zd {

FTransfoBase::~FTransfoBase() = default;

GammaTransfo::GammaTransfo(double exponent) : m_exponent(std::isfinite(exponent) && exponent > 0 ? exponent : 1) {}

double GammaTransfo::value(float position) const
{
    if (!(position > 0))
        return 0;
    return position < 1 ? std::pow(static_cast<double>(position), m_exponent) : 1;
}

} // namespace zd
