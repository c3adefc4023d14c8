#include <movietools/movie/moviedescription.h>

#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <movietools/frames/sampletype.h>
#include <movietools/movie/attributerules.h>

#include <algorithm>

namespace zd::movietools {

namespace {

// The samples that a header's words for them mean.
ZDImagePixelType meantType(const AttributeChunk& header)
{
    int type = ZD_UNKNOWN;
    int bits = 0;
    header.get(layout::key::pixType, type);
    if (GetPixBits(static_cast<ZDImagePixelType>(type)) != 0)
        return static_cast<ZDImagePixelType>(type);
    return header.get(layout::key::pixBits, bits) && bits > 0 ? GuessPixelType(ZD_GROUP_UNSIGNED_BITS, bits)
                                                              : ZD_UNKNOWN;
}

void takeOver(const AttributeChunk& from, const QString& name, AttributeChunk& to)
{
    QString value;
    if (from.get(name, value))
        to.set(name, value);
    else
        to.erase(name);
}

} // namespace

MovieDescription describe(ImageReader& movie, const std::vector<unsigned>& frames)
{
    MovieDescription description;
    description.attributes = movie.attributeChunk();
    FrameTimer::removeFromAttChunk(description.attributes);
    const bool isTimed = !movie.getFrameTimer().empty();
    for (const unsigned frame : frames) {
        timeval time;
        float power = -1;
        if (isTimed)
            description.times.push_back(movie.getFrameTiming(frame, time) ? std::optional(time) : std::nullopt);
        description.laserPowers.push_back(movie.getLaserPower(frame, power) ? power : -1.0F);
    }
    if (!hasLaserPowers(description))
        description.laserPowers.clear();
    return description;
}

bool hasLaserPowers(const MovieDescription& description)
{
    return std::any_of(description.laserPowers.begin(), description.laserPowers.end(),
                       [](float power) { return power >= 0; });
}

void applyDescription(const MovieDescription& description, ImageWriter& movie)
{
    AttributeChunk& header = movie.attributeChunk();
    const SampleFormat samples = sampleFormat(meantType(header));
    if (sampleFormat(meantType(description.attributes)) == samples) {
        takeOver(description.attributes, layout::key::pixType, header);
        takeOver(description.attributes, layout::key::pixBits, header);
    }
    for (const auto& [name, value] : description.attributes.attributes())
        if (!describesFrames(name) && whyNotStorable(name, value.text()).isEmpty())
            header.set(name, value.text());
    if (!description.fiberCenters.empty())
        movie.addRasterFiberContinuousIndexes(description.fiberCenters);
}

} // namespace zd::movietools
