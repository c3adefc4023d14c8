#pragma once

#include <QLatin1StringView>

/// What writer and reader of OME metadata share.
namespace zd::movietools::ome {

inline constexpr QLatin1StringView schema{"http://www.openmicroscopy.org/Schemas/OME/2016-06"};

// The kinds of our annotations.
inline constexpr QLatin1StringView attributes{"vqf:attributes"};
inline constexpr QLatin1StringView encodedAttributes{"vqf:attributes-percent-encoded"}; // what XML cannot hold
inline constexpr QLatin1StringView laserPower{"vqf:laser-power"};
inline constexpr QLatin1StringView fiberCenters{"vqf:fibre-centres"};

} // namespace zd::movietools::ome
