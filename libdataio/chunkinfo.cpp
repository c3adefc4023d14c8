#include <libdataio/chunkinfo.h>

#include <limits>
#include <memory>
#include <stdexcept>

namespace zd {

ChunkInfo::~ChunkInfo() = default;

void* ChunkInfo::save(int& size)
{
    const std::size_t indexBytes = payloadSize();
    const std::size_t textBytes = textLength();
    if (textBytes > std::numeric_limits<int>::max() - indexBytes)
        throw std::length_error("the header attributes are too long");

    auto payload = std::make_unique_for_overwrite<char[]>(indexBytes + textBytes);
    writePayload(payload.get());
    writeText(payload.get() + indexBytes);
    size = static_cast<int>(indexBytes + textBytes);
    return payload.release();
}

int ChunkInfo::load(const void* data, unsigned int size)
{
    const auto indexBytes = static_cast<unsigned int>(ChunkIndex::load(data, size));
    parseLatin1(static_cast<const char*>(data) + indexBytes, size - indexBytes);
    return 1;
}

bool ChunkInfo::load(unsigned int size, const NextBytes& next)
{
    const std::optional<unsigned int> indexBytes = ChunkIndex::load(size, next);
    if (!indexBytes)
        return false;
    const std::size_t textBytes = size - *indexBytes;
    const char* text = textBytes > 0 ? next(textBytes) : "";
    if (text == nullptr)
        return false;
    parseLatin1(text, textBytes);
    return true;
}

void ChunkInfo::clear()
{
    ChunkIndex::clear();
    AttributeChunk::clear();
}

void ChunkInfo::dumpDebug()
{
    debugDump();
    AttributeChunk::dumpDebug();
}

} // namespace zd
