#include <movietools/frames/pageformat_p.h>

#include <movietools/frames/sampletype.h>

namespace zd::movietools {

std::uint64_t PageFormat::frameBytes() const
{
    return std::uint64_t{width} * height * static_cast<std::uint64_t>(sampleFormat(type).pixelBytes());
}

} // namespace zd::movietools
