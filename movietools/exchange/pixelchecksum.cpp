#include <movietools/exchange/pixelchecksum_p.h>

#include <movietools/files/bytesource.h>

#include <vector>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace zd::movietools {

struct PixelChecksum::State {
    XXH3_state_t hash;
};

PixelChecksum::PixelChecksum() : m_state(std::make_unique<State>())
{
    XXH3_64bits_reset(&m_state->hash);
}

PixelChecksum::~PixelChecksum() = default;

void PixelChecksum::add(const void* bytes, std::size_t size)
{
    XXH3_64bits_update(&m_state->hash, bytes, size);
}

QString PixelChecksum::text() const
{
    return QStringLiteral("xxh3:%1").arg(XXH3_64bits_digest(&m_state->hash), 16, 16, QLatin1Char('0'));
}

QString PixelChecksum::ofFile(const QString& path)
{
    const FileBytes file(path);
    PixelChecksum checksum;
    std::vector<char> block(std::size_t{1} << 20);
    std::int64_t offset = 0;
    while (const std::int64_t got = file.read(offset, block.data(), static_cast<std::int64_t>(block.size()))) {
        checksum.add(block.data(), static_cast<std::size_t>(got));
        offset += got;
    }
    return checksum.text();
}

} // namespace zd::movietools
