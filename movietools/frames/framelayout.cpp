#include <movietools/frames/framelayout.h>

#include <libdataio/imagefilelayout.h>
#include <libdataio/imagereader.h>
#include <libdataio/pixeltypes.h>
#include <movietools/frames/sampletype.h>
#include <movietools/job/joberror.h>

#include <cmath>
#include <vector>

namespace zd::movietools {

namespace {

namespace key = layout::key;

struct FrameSize {
    int width;
    int height;
};

// Sizes of raw and processed frames of the instrument, then those of cameras.
constexpr FrameSize commonSizes[] = {{896, 640},   {576, 576},   {640, 640},  {640, 480},   {512, 512},
                                     {1024, 1024}, {1280, 1024}, {1280, 720}, {2048, 2048}, {320, 240}};
constexpr ZDImagePixelType commonTypes[] = {ZD_USHORT, ZD_UCHAR, ZD_FLOAT, ZD_RGB};

/// What a header says of the frames; 0 for what it does not say, or says in a way that cannot be.
struct KnownLayout {
    int width = 0;
    int height = 0;
    int type = ZD_UNKNOWN;
    int bits = 0;

    explicit KnownLayout(const AttributeChunk& header)
    {
        header.get(key::width, width);
        header.get(key::height, height);
        header.get(key::pixType, type);
        header.get(key::pixBits, bits);
        width = std::max(width, 0);
        height = std::max(height, 0);
        bits = std::max(bits, 0);
        if (const int typeBits = GetPixBits(static_cast<ZDImagePixelType>(type)); typeBits != 0)
            bits = typeBits;
        else
            type = ZD_UNKNOWN;
    }
};

struct Guess {
    FrameSize size;
    int type; // ZD_UNKNOWN when the header tells the bits
};

bool agrees(const KnownLayout& known, const FrameSize& size)
{
    return (known.width == 0 || known.width == size.width) && (known.height == 0 || known.height == size.height);
}

std::optional<FrameSize> commonSize(const KnownLayout& known, std::int64_t pixels)
{
    for (const FrameSize& size : commonSizes)
        if (std::int64_t{size.width} * size.height == pixels && agrees(known, size))
            return size;
    return std::nullopt;
}

std::optional<FrameSize> sizeOf(std::int64_t width, std::int64_t height)
{
    if (width > INT32_MAX || height > INT32_MAX)
        return std::nullopt;
    return FrameSize{static_cast<int>(width), static_cast<int>(height)};
}

std::optional<FrameSize> squareSize(const KnownLayout& known, std::int64_t pixels)
{
    const auto side = static_cast<std::int64_t>(std::llround(std::sqrt(static_cast<double>(pixels))));
    if (side * side != pixels)
        return std::nullopt;
    const std::optional<FrameSize> size = sizeOf(side, side);
    return size && agrees(known, *size) ? size : std::nullopt;
}

// With one side known the other follows; with none, the two that differ least, the longer one across.
std::optional<FrameSize> anySize(const KnownLayout& known, std::int64_t pixels)
{
    const std::int64_t side = known.width != 0 ? known.width : known.height;
    if (side != 0 && pixels % side == 0) {
        const std::int64_t other = pixels / side;
        return known.width != 0 ? sizeOf(side, other) : sizeOf(other, side);
    }
    if (side != 0)
        return std::nullopt;
    auto height = static_cast<std::int64_t>(std::sqrt(static_cast<double>(pixels)));
    while (height > 1 && pixels % height != 0)
        --height;
    return height > 0 ? sizeOf(pixels / height, height) : std::nullopt;
}

using SizeRule = std::optional<FrameSize> (*)(const KnownLayout&, std::int64_t pixels);

std::optional<Guess> guessByRule(SizeRule rule, const KnownLayout& known, std::int64_t bytes)
{
    const auto attempt = [&](int bits, int type) -> std::optional<Guess> {
        const std::int64_t sampleBytes = layout::bytesForBits(bits);
        const std::optional<FrameSize> size =
            bytes > 0 && bytes % sampleBytes == 0 ? rule(known, bytes / sampleBytes) : std::nullopt;
        return size ? std::optional(Guess{*size, type}) : std::nullopt;
    };
    if (known.bits != 0)
        return attempt(known.bits, known.type);
    for (const ZDImagePixelType type : commonTypes)
        if (const std::optional<Guess> guess = attempt(GetPixBits(type), type))
            return guess;
    return std::nullopt;
}

} // namespace

std::optional<std::int64_t> frameBytes(const AttributeChunk& header)
{
    const KnownLayout known(header);
    std::int64_t bytes = layout::bytesForBits(known.bits);
    if (known.width == 0 || known.height == 0 || known.bits == 0 ||
        __builtin_mul_overflow(bytes, known.width, &bytes) || __builtin_mul_overflow(bytes, known.height, &bytes))
        return std::nullopt;
    return bytes;
}

QStringList guessFrameLayout(AttributeChunk& header, std::int64_t bytes)
{
    if (frameBytes(header))
        return {};
    const KnownLayout known(header);
    std::optional<Guess> guess;
    for (const SizeRule rule : {commonSize, squareSize, anySize})
        if (!guess)
            guess = guessByRule(rule, known, bytes);
    if (!guess)
        return {};

    QStringList guessed;
    const auto set = [&](const QString& name, int value) {
        header.set(name, value);
        guessed.append(name);
    };
    if (known.height == 0)
        set(key::height, guess->size.height);
    if (known.bits == 0) {
        set(key::pixBits, GetPixBits(static_cast<ZDImagePixelType>(guess->type)));
        set(key::pixType, guess->type);
    }
    if (known.width == 0)
        set(key::width, guess->size.width);
    return guessed;
}

ZDImagePixelType sampleType(ImageReader& movie)
{
    ZDImagePixelType type = ZD_UNKNOWN;
    int bits = 0;
    if (movie.pixType(type) || !movie.pixBits(bits))
        return type;
    const ZDImagePixelType holding = GuessPixelType(ZD_GROUP_UNSIGNED_BITS, bits);
    return bits > 0 && GetPixBits(holding) == 8 * movie.pixBytes() ? holding : ZD_UNKNOWN;
}

PageFormat frameFormat(ImageReader& movie, const QString& path, const QString& advice)
{
    int width = 0;
    int height = 0;
    if (!movie.width(width) || !movie.height(height) || width <= 0 || height <= 0)
        refuse(path, QStringLiteral("does not say how large its frames are"), advice);
    const std::uint64_t pixels = static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(height);
    if (pixels > layout::largestSizeLimit)
        refuse(path, QStringLiteral("claims frames of %1 x %2, larger than any movie").arg(width).arg(height), advice);
    const ZDImagePixelType type = sampleType(movie);
    if (sampleFormat(type).channels == 0)
        refuse(path, QStringLiteral("does not say what its pixels are"), advice);
    return {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), type, false};
}

} // namespace zd::movietools
