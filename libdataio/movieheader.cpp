#include <libdataio/movieheader_p.h>

#include <libdataio/attributepaletteadaptor.h>
#include <libdataio/imagefilelayout.h>

#include <common/zdpalette.h>

namespace zd {

namespace {

std::optional<std::int64_t> recordedSize(const AttributeChunk& attributes)
{
    int w = 0;
    int h = 0;
    int bits = 0;
    if (!attributes.get(layout::key::width, w) || !attributes.get(layout::key::height, h) ||
        !attributes.get(layout::key::pixBits, bits))
        return std::nullopt;
    std::int64_t bytes = bits / 8 + (bits % 8 != 0 ? 1 : 0);
    if (__builtin_mul_overflow(bytes, std::int64_t{h}, &bytes) ||
        __builtin_mul_overflow(bytes, std::int64_t{w}, &bytes))
        return std::nullopt;
    return bytes;
}

std::unique_ptr<ZdPalette> storedPalette(const AttributeChunk& attributes)
{
    auto palette = std::make_unique<ZdPalette>();
    if (!AttributePaletteAdaptor::attributesToPalette(attributes, *palette, QString()))
        return nullptr;
    if (palette->size() == 0)
        palette->initDefault();
    return palette;
}

} // namespace

MovieHeader::MovieHeader() = default;
MovieHeader::~MovieHeader() = default;

bool MovieHeader::frameSides(int& width, int& height) const
{
    return get(layout::key::width, width) && get(layout::key::height, height);
}

bool MovieHeader::pixBits(int& out) const
{
    int type = 0;
    if (!get(layout::key::pixType, type))
        return get(layout::key::pixBits, out);
    out = GetPixBits(static_cast<ZDImagePixelType>(type));
    return true;
}

int MovieHeader::pixBytes() const
{
    int bits = 0;
    return pixBits(bits) ? layout::bytesForBits(bits) : 0;
}

ZDImagePixelType MovieHeader::pixType() const
{
    int type = ZD_UNKNOWN;
    int bits = 0;
    if (get(layout::key::pixType, type))
        return static_cast<ZDImagePixelType>(type);
    return pixBits(bits) ? GuessPixelType(ZD_GROUP_UNSIGNED, bits) : ZD_UNKNOWN;
}

int MovieHeader::endian() const
{
    int value = 0;
    return get(layout::key::endian, value) ? value : 0;
}

QString MovieHeader::dataType() const
{
    QString type;
    if (get(layout::key::dataType, type))
        return type;
    int w = 0;
    int h = 0;
    const bool rawSize = frameSides(w, h) && w == layout::rawWidth && h == layout::rawHeight;
    return QString(rawSize ? layout::dataTypeRaw : layout::dataTypeProcessed);
}

int MovieHeader::maskLevel() const
{
    int level = 0;
    return get(layout::key::maskLevel, level) ? level : layout::defaultMaskLevel;
}

QString MovieHeader::comment(const QString& key) const
{
    QString stored;
    return get(key, stored) ? layout::decodeComment(stored) : QString();
}

bool MovieHeader::bundleBox(std::vector<float>& box) const
{
    box.assign(4, 0.0F);
    if (get(layout::key::boxMinX, box[0]) && get(layout::key::boxMinY, box[1]) && get(layout::key::boxMaxX, box[2]) &&
        get(layout::key::boxMaxY, box[3]))
        return true;
    box.clear();
    return false;
}

void MovieHeader::removeTailRecords()
{
    for (const int type : {ZD_INFO_CHUNK, ZD_FIBER_CENTERS_CHUNK, ZD_FRAME_TIMER_CHUNK, ZD_LASER_POWER_CHUNK})
        removeChunkType(type);
}

bool MovieHeader::isSwapped()
{
    // Asked with every frame, and the header hardly ever changes.
    return m_swapped.of(*this, [this] { return layout::needsSwapping(endian()); });
}

std::optional<std::int64_t> MovieHeader::recordedFrameSize()
{
    return m_recordedFrameSize.of(*this, [this] { return recordedSize(*this); });
}

std::int64_t MovieHeader::claimedFrameSize()
{
    return m_claimedFrameSize.of(*this, [this] { return frameSize(pixBytes()); });
}

std::int64_t MovieHeader::frameSize(int sampleBytes) const
{
    int w = 0;
    int h = 0;
    if (!frameSides(w, h) || w < 1 || h < 1)
        return 0;
    const std::int64_t samples = std::int64_t{w} * h;
    return samples > static_cast<std::int64_t>(layout::largestSizeLimit) ? 0 : samples * sampleBytes;
}

const ZdPalette* MovieHeader::palette()
{
    return m_palette.of(*this, [this] { return storedPalette(*this); }).get();
}

} // namespace zd
