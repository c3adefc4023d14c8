#include <movietools/frames/samplestatistics_p.h>

#include <movietools/frames/sampletype.h>
#include <movietools/frames/samplevalues_p.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace zd::movietools {

namespace {

template <typename Sample>
SampleRange rangeOf(const char* pixels, std::size_t count)
{
    Sample low = std::numeric_limits<Sample>::max();
    Sample high = std::numeric_limits<Sample>::lowest();
    for (std::size_t i = 0; i < count; ++i) {
        const Sample sample = sampleAt<Sample>(pixels, i);
        if constexpr (std::numeric_limits<Sample>::has_infinity)
            if (!std::isfinite(sample))
                continue;
        low = std::min(low, sample);
        high = std::max(high, sample);
    }
    return {static_cast<double>(low), static_cast<double>(high)};
}

template <typename Sample>
double meanOf(const char* pixels, std::size_t count)
{
    if constexpr (std::numeric_limits<Sample>::is_integer) {
        std::int64_t sum = 0; // fewer than 2^31 samples of 32 bits
        for (std::size_t i = 0; i < count; ++i)
            sum += sampleAt<Sample>(pixels, i);
        return static_cast<double>(sum) / static_cast<double>(count);
    } else {
        double sum = 0;
        std::size_t counted = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const auto sample = static_cast<double>(sampleAt<Sample>(pixels, i));
            if (std::isfinite(sample)) {
                sum += sample;
                ++counted;
            }
        }
        return counted == 0 ? 0 : sum / static_cast<double>(counted);
    }
}

// The channels of colours are samples of eight bits.
ZDImagePixelType sampleType(const PageFormat& format)
{
    return isColored(format.type) ? ZD_UCHAR : format.type;
}

} // namespace

SampleRange sampleRange(const PageFormat& format, const void* pixels)
{
    SampleRange range;
    withSampleType(sampleType(format), [&]<typename Sample>(Sample) {
        range = rangeOf<Sample>(static_cast<const char*>(pixels), format.frameBytes() / sizeof(Sample));
    });
    return range;
}

double sampleMean(const PageFormat& format, const void* pixels)
{
    double mean = 0;
    withSampleType(sampleType(format), [&]<typename Sample>(Sample) {
        mean = meanOf<Sample>(static_cast<const char*>(pixels), format.frameBytes() / sizeof(Sample));
    });
    return mean;
}

} // namespace zd::movietools
