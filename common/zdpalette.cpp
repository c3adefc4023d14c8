#include <common/zdpalette.h>

#include <common/ftransfobase.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <utility>

namespace zd {

namespace {

struct Color {
    float r, g, b;
};

// Colours of even steps on a helix in CIELAB (white point D65): at position t from 0 to 1 the lightness is
// 100 t, the chroma 60 sin(pi t) and the hue angle 280 + 180 t degrees, converted to sRGB. Lightness rises
// evenly and neighbours are all equally far apart, so equal steps in the data look equal. Hue and chroma
// stay inside what sRGB can show.
constexpr Color perceptualColors[] = {
    {0.0000F, 0.0000F, 0.0000F}, {0.0694F, 0.0726F, 0.1344F}, {0.1346F, 0.1087F, 0.2328F}, {0.2366F, 0.1320F, 0.3170F},
    {0.3607F, 0.1427F, 0.3787F}, {0.4922F, 0.1450F, 0.4148F}, {0.6189F, 0.1532F, 0.4272F}, {0.7309F, 0.1877F, 0.4220F},
    {0.8217F, 0.2550F, 0.4080F}, {0.8884F, 0.3447F, 0.3956F}, {0.9315F, 0.4456F, 0.3962F}, {0.9542F, 0.5498F, 0.4208F},
    {0.9619F, 0.6524F, 0.4781F}, {0.9612F, 0.7505F, 0.5706F}, {0.9603F, 0.8420F, 0.6947F}, {0.9692F, 0.9256F, 0.8418F},
    {1.0000F, 1.0000F, 1.0000F},
};

/// The component brought into [0, 1]; 0 for what is not a number.
float limited(float component)
{
    return component > 0 ? std::min(component, 1.0F) : 0.0F;
}

bool isLimited(float component)
{
    return component >= 0 && component <= 1;
}

bool isFinite(const PalNode& node)
{
    return std::isfinite(node.value) && std::isfinite(node.r) && std::isfinite(node.g) && std::isfinite(node.b);
}

bool isConsistent(const PalNode& node)
{
    return std::isfinite(node.value) && isLimited(node.r) && isLimited(node.g) && isLimited(node.b);
}

bool isBefore(const PalNode& a, const PalNode& b)
{
    return a.value < b.value;
}

/// The nearest float, infinite beyond the largest; the plain conversion is not defined there.
float toFloat(double value)
{
    constexpr double largest = std::numeric_limits<float>::max();
    if (std::abs(value) > largest)
        return value > 0 ? std::numeric_limits<float>::infinity() : -std::numeric_limits<float>::infinity();
    return static_cast<float>(value);
}

} // namespace

ZdPalette::ZdPalette() = default;
ZdPalette::ZdPalette(const ZdPalette&) = default;
ZdPalette& ZdPalette::operator=(const ZdPalette&) = default;
ZdPalette::~ZdPalette() = default;

void ZdPalette::reset()
{
    m_nodes.clear();
}

void ZdPalette::addColor(float position, float red, float green, float blue)
{
    m_nodes.push_back({position, red, green, blue});
}

void ZdPalette::checkBounds()
{
    m_nodes.remove_if([](const PalNode& node) { return !isFinite(node); });
    if (!std::is_sorted(m_nodes.begin(), m_nodes.end(), isBefore))
        m_nodes.sort(isBefore);
    if (m_nodes.size() > maximumNodes)
        m_nodes.resize(maximumNodes);
    for (PalNode& node : m_nodes)
        node = {node.value, limited(node.r), limited(node.g), limited(node.b)};
    std::transform(aboveColor.begin(), aboveColor.end(), aboveColor.begin(), limited);
    std::transform(belowColor.begin(), belowColor.end(), belowColor.begin(), limited);
    if (cropMin > cropMax)
        std::swap(cropMin, cropMax);
}

bool ZdPalette::assertIntegrity() const
{
    return !m_nodes.empty() && m_nodes.size() <= maximumNodes && cropMin <= cropMax &&
           std::all_of(m_nodes.begin(), m_nodes.end(), isConsistent) &&
           std::is_sorted(m_nodes.begin(), m_nodes.end(), isBefore) &&
           std::all_of(aboveColor.begin(), aboveColor.end(), isLimited) &&
           std::all_of(belowColor.begin(), belowColor.end(), isLimited);
}

void ZdPalette::setTransfo(std::shared_ptr<const FTransfoBase> transfo)
{
    m_transfo = std::move(transfo);
}

float ZdPalette::getValueScaled(const PalNode& node) const
{
    const double width = static_cast<double>(cropMax) - static_cast<double>(cropMin);
    return toFloat(cropMin + static_cast<double>(node.value) * width);
}

void ZdPalette::adjustNodeValues(float low, float high)
{
    if (m_nodes.empty())
        return;
    const double start = first().value;
    const double width = last().value - start;
    if (!std::isfinite(width) || !std::isfinite(low) || !std::isfinite(high))
        return;
    for (PalNode& node : m_nodes) {
        const double fraction = width == 0 ? 0 : (node.value - start) / width;
        node.value = toFloat(std::lerp(static_cast<double>(low), static_cast<double>(high), fraction));
    }
}

void ZdPalette::initDefault()
{
    *this = ZdPalette();
    name = QStringLiteral("perceptual");
    cropMin = std::numeric_limits<std::int16_t>::min();
    cropMax = std::numeric_limits<std::int16_t>::max();
    constexpr auto lastColor = static_cast<float>(std::size(perceptualColors) - 1);
    for (const Color& color : perceptualColors)
        addColor(static_cast<float>(size()) / lastColor, color.r, color.g, color.b);
}

void ZdPalette::initSigned8()
{
    initGreyRamp(QStringLiteral("grey signed 8 bit"), -128, 127);
}

void ZdPalette::initUnsigned8()
{
    initGreyRamp(QStringLiteral("grey unsigned 8 bit"), 0, 255);
}

void ZdPalette::initGreyRamp(const QString& rampName, int minimum, int maximum)
{
    *this = ZdPalette();
    name = rampName;
    cropMin = minimum;
    cropMax = maximum;
    addColor(0, 0, 0, 0);
    addColor(1, 1, 1, 1);
}

} // namespace zd
