#include <movietools/compare/moviedifferences.h>

#include <algorithm>
#include <cmath>

namespace zd::movietools {

void ValueDifferences::add(std::uint64_t place, double difference)
{
    ++differing;
    if (!first)
        first = place;
    if (!std::isfinite(difference))
        return;
    largest = std::max(largest, difference);
    sum += difference;
}

bool MovieDifferences::none() const
{
    return structure.empty() && attributes.empty() && times.differing == 0 && laserPowers.differing == 0 &&
           fibers.differing == 0 && framesDiffering == 0;
}

} // namespace zd::movietools
