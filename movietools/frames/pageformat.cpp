#include <movietools/frames/pageformat.h>

#include <movietools/frames/sampletype.h>
#include <movietools/job/wording.h>

namespace zd::movietools {

std::uint64_t PageFormat::frameBytes() const
{
    return std::uint64_t{width} * height * static_cast<std::uint64_t>(sampleFormat(type).pixelBytes());
}

QString formatText(const PageFormat& format)
{
    return pictureText(format.width, format.height, format.type) +
           (format.whiteIsZero ? QStringLiteral(", white is zero") : QString());
}

bool haveSameSamples(ZDImagePixelType a, ZDImagePixelType b)
{
    return a == b || (GetPixGroup(a) == GetPixGroup(b) && GetPixBits(a) == GetPixBits(b));
}

} // namespace zd::movietools
