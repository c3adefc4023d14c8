#include <movietools/frames/pageformat_p.h>

#include <movietools/exchange/tiff/tiffpixels_p.h>

namespace zd::movietools {

std::uint64_t PageFormat::frameBytes() const
{
    return std::uint64_t{width} * height * static_cast<std::uint64_t>(tiffSamples(type).pixelBytes());
}

} // namespace zd::movietools
