#include <movietools/movie/moviecontent_p.h>

#include <libdataio/imagefilelayout.h>

#include <algorithm>

namespace zd::movietools {

namespace {

void sortByOffset(std::vector<WalkedPiece>& chunks)
{
    std::sort(chunks.begin(), chunks.end(),
              [](const WalkedPiece& a, const WalkedPiece& b) { return a.offset < b.offset; });
}

} // namespace

MovieContent::MovieContent(const ByteSource& source) : bytes(source), pieces(walkChunks(source))
{
    if (pieces.empty() || !pieces.back().isWhole())
        return;
    const WalkedPiece& last = pieces.back();
    // Readers come from the end and believe the end header.
    if (last.type != ZD_INFO_CHUNK && last.endType != ZD_INFO_CHUNK)
        return;
    infoChunk = last;
    info = InfoPayload::asDeclared(bytes.bytes(infoChunk->payload(), infoChunk->size));
    header.parseLatin1(info.text.constData(), static_cast<std::size_t>(info.text.size()));
}

const WalkedPiece* MovieContent::chunkAt(std::int64_t offset) const
{
    const auto piece = std::lower_bound(pieces.begin(), pieces.end(), offset,
                                        [](const WalkedPiece& a, std::int64_t b) { return a.offset < b; });
    return piece != pieces.end() && piece->offset == offset && piece->isWhole() ? &*piece : nullptr;
}

std::vector<WalkedPiece> MovieContent::listed(std::uint32_t type) const
{
    std::vector<WalkedPiece> chunks;
    for (const IndexEntry& entry : info.entries) {
        const WalkedPiece* chunk = entry.type == type ? chunkAt(entry.offset) : nullptr;
        if (chunk && chunk->type == type && chunk->size == entry.length)
            chunks.push_back(*chunk);
    }
    return chunks;
}

std::vector<WalkedPiece> MovieContent::listedInFileOrder(std::uint32_t type) const
{
    std::vector<WalkedPiece> chunks = listed(type);
    sortByOffset(chunks);
    return chunks;
}

std::vector<WalkedPiece> MovieContent::listedSideData() const
{
    std::vector<WalkedPiece> chunks;
    for (const int type : {ZD_FIBER_CENTERS_CHUNK, ZD_FRAME_TIMER_CHUNK, ZD_LASER_POWER_CHUNK}) {
        const std::vector<WalkedPiece> ofType = listed(static_cast<std::uint32_t>(type));
        chunks.insert(chunks.end(), ofType.begin(), ofType.end());
    }
    sortByOffset(chunks);
    return chunks;
}

const WalkedPiece* MovieContent::lastOf(std::uint32_t type) const
{
    const auto chunk = std::find_if(pieces.rbegin(), pieces.rend(),
                                    [type](const WalkedPiece& piece) { return piece.isWhole() && piece.type == type; });
    return chunk == pieces.rend() ? nullptr : &*chunk;
}

bool isSideData(std::uint32_t type)
{
    return type == ZD_FIBER_CENTERS_CHUNK || type == ZD_FRAME_TIMER_CHUNK || type == ZD_LASER_POWER_CHUNK;
}

} // namespace zd::movietools
