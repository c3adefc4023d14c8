#include <movietools/recover/recoverysurvey_p.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/movie/moviecontent_p.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

namespace zd::movietools {

namespace {

using Kind = WalkedPiece::Kind;

bool isInfo(const WalkedPiece& piece)
{
    return piece.isWhole() && (piece.type == ZD_INFO_CHUNK || piece.endType == ZD_INFO_CHUNK);
}

bool isOurs(std::uint32_t type)
{
    return type == ZD_FRAME_CHUNK || type == ZD_INFO_CHUNK || isSideData(type);
}

WalkedPiece chunkOf(const IndexEntry& entry)
{
    return {Kind::DamagedChunk, true,         true,         entry.type,
            entry.type,         entry.length, entry.offset, layout::framingBytes + entry.length};
}

WalkedPiece gapBetween(std::int64_t begin, std::int64_t end)
{
    WalkedPiece gap;
    gap.offset = begin;
    gap.length = end - begin;
    return gap;
}

QByteArray tailBefore(const RecordingRemains& remains)
{
    return remains.before.empty() ? QByteArray() : remains.before.front().bytes;
}

} // namespace

RecoverySurvey::RecoverySurvey(const ByteSource& source, const RecordingRemains& remains)
    : m_source(source),
      m_pieces(walkChunks(source)),
      m_tail(tailBefore(remains)),
      m_tailOffset(remains.before.empty() ? 0 : remains.before.front().offset),
      m_tailPieces(walkChunks(m_tail))
{
    findInfo();
    splitGaps();
    measureFrames();
    settleTypes();
    sumUp();
    orderFrames();
}

QByteArray RecoverySurvey::payloadOf(const WalkedPiece& chunk) const
{
    return m_source.bytes(chunk.payload(), chunk.size);
}

void RecoverySurvey::findInfo()
{
    if (m_tail.length() > 0) {
        if (takeInfoOfTail())
            m_infoPlace = InfoPlace::Journal;
    } else if (!m_pieces.empty() && isInfo(m_pieces.back())) {
        takeInfo(m_pieces.back());
        m_infoPlace = InfoPlace::AtEnd;
    }
    if (m_infoPlace == InfoPlace::Nowhere && takeInfoInside())
        m_infoPlace = InfoPlace::Inside;
    for (const IndexEntry& entry : m_info.entries)
        m_records.emplace(entry.offset, entry);
}

void RecoverySurvey::takeInfo(WalkedPiece& chunk)
{
    chunk.type = chunk.endType = ZD_INFO_CHUNK;
    const QByteArray payload = payloadOf(chunk);
    const InfoPayload declared = InfoPayload::asDeclared(payload);
    m_info = listsAllChunks(declared) ? declared : InfoPayload::salvaged(payload, false);
}

// Whether the index knows every chunk but that of the header, where it lies: what follows such an index is text.
bool RecoverySurvey::listsAllChunks(const InfoPayload& info) const
{
    std::map<std::uint32_t, IndexEntry> listed;
    for (const IndexEntry& entry : info.entries)
        listed.emplace(entry.offset, entry);
    const auto isListed = [&listed](const WalkedPiece& piece) {
        const auto entry = listed.find(static_cast<std::uint32_t>(piece.offset));
        return entry != listed.end() && entry->second == IndexEntry{piece.type, entry->first, piece.size};
    };
    std::size_t others = 0;
    for (const WalkedPiece& piece : m_pieces) {
        if (isInfo(piece))
            continue;
        if (!piece.isWhole() || !isListed(piece))
            return false;
        ++others;
    }
    return info.holdsDeclaredRecords && others == info.entries.size();
}

bool RecoverySurvey::takeInfoOfTail()
{
    if (m_tailPieces.empty() || !isInfo(m_tailPieces.back()))
        return false;
    const WalkedPiece& info = m_tailPieces.back();
    m_info = InfoPayload::salvaged(m_tail.bytes(info.payload(), info.size), false);
    // In the file other chunks may lie there now.
    std::erase_if(m_info.entries, [this](const IndexEntry& entry) { return entry.offset >= m_tailOffset; });
    return true;
}

bool RecoverySurvey::takeInfoInside()
{
    const auto whole = std::find_if(m_pieces.rbegin(), m_pieces.rend(), isInfo);
    if (whole != m_pieces.rend()) {
        takeInfo(*whole);
        return true;
    }
    if (m_pieces.empty() || m_pieces.back().kind != Kind::TornChunk || m_pieces.back().type != ZD_INFO_CHUNK)
        return false;
    const QByteArray payload = payloadOf(m_pieces.back());
    m_info = InfoPayload::salvaged(payload, payload.size() < m_pieces.back().size);
    return true;
}

// Takes the chunks out of gaps that the index knows, when little of their headers is damaged.
void RecoverySurvey::splitGaps()
{
    std::vector<WalkedPiece> pieces;
    for (const WalkedPiece& piece : m_pieces) {
        std::int64_t at = piece.offset;
        auto record = piece.kind == Kind::Gap ? m_records.lower_bound(piece.offset) : m_records.end();
        for (; record != m_records.end() && record->first < piece.end(); ++record) {
            const WalkedPiece chunk = chunkOf(record->second);
            if (chunk.offset < at || chunk.end() > piece.end() || !isMendable(chunk))
                continue;
            if (at < chunk.offset)
                pieces.push_back(gapBetween(at, chunk.offset));
            pieces.push_back(chunk);
            at = chunk.end();
        }
        if (at == piece.offset)
            pieces.push_back(piece);
        else if (at < piece.end())
            pieces.push_back(gapBetween(at, piece.end()));
    }
    m_pieces = std::move(pieces);
}

bool RecoverySurvey::isMendable(const WalkedPiece& chunk) const
{
    const QByteArray start = m_source.bytes(chunk.offset, layout::headerBytes);
    const QByteArray end = m_source.bytes(chunk.end() - layout::headerBytes, layout::headerBytes);
    return end.size() == layout::headerBytes &&
           resemblesHeader(start.constData(), ChunkStartHeader(chunk.type, chunk.size)) &&
           resemblesHeader(end.constData(), ChunkEndHeader(chunk.type, chunk.size));
}

void RecoverySurvey::measureFrames()
{
    std::map<std::uint32_t, std::uint64_t> counts;
    for (const WalkedPiece& piece : m_pieces)
        if (piece.isWhole() && piece.type == ZD_FRAME_CHUNK && piece.endType == ZD_FRAME_CHUNK)
            ++counts[piece.size];
    const auto most = std::max_element(counts.begin(), counts.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    if (most != counts.end())
        m_usualFrameSize = most->first;
}

void RecoverySurvey::settleTypes()
{
    for (WalkedPiece& piece : m_pieces)
        if (piece.isWhole() && piece.type != piece.endType)
            piece.type = piece.endType = settledType(piece);
}

// The type of a chunk whose two headers disagree on it.
std::uint32_t RecoverySurvey::settledType(const WalkedPiece& chunk) const
{
    const auto [first, last] = m_records.equal_range(chunk.offset);
    for (auto record = first; record != last; ++record)
        if (record->second.type == chunk.type || record->second.type == chunk.endType)
            return record->second.type;
    if (isOurs(chunk.type) != isOurs(chunk.endType))
        return isOurs(chunk.type) ? chunk.type : chunk.endType;
    const bool mayBeFrame = chunk.type == ZD_FRAME_CHUNK || chunk.endType == ZD_FRAME_CHUNK;
    if (mayBeFrame && (!m_usualFrameSize || *m_usualFrameSize == chunk.size))
        return ZD_FRAME_CHUNK;
    return chunk.type == ZD_FRAME_CHUNK ? chunk.endType : chunk.type;
}

void RecoverySurvey::sumUp()
{
    for (const WalkedPiece& piece : m_pieces) {
        if (piece.isWhole())
            m_chunks.push_back(piece);
        if (piece.kind == Kind::DamagedChunk)
            ++m_mended;
        else if (piece.kind == Kind::TornChunk)
            m_tornBytes += piece.length;
        else if (piece.kind == Kind::Gap)
            m_skippedBytes += piece.length;
    }
}

const WalkedPiece* RecoverySurvey::chunkAt(std::int64_t offset) const
{
    const auto chunk = std::lower_bound(m_chunks.begin(), m_chunks.end(), offset,
                                        [](const WalkedPiece& a, std::int64_t b) { return a.offset < b; });
    return chunk != m_chunks.end() && chunk->offset == offset ? &*chunk : nullptr;
}

// Whether a record that leads to no frame was that of one: unless it is the only one of the chunk that is there. No
// index lists an info chunk.
bool RecoverySurvey::wasFrame(const IndexEntry& entry) const
{
    if (entry.type != ZD_FRAME_CHUNK)
        return false;
    const WalkedPiece* chunk = chunkAt(entry.offset);
    const auto [first, last] = m_records.equal_range(entry.offset);
    return !chunk || chunk->type == ZD_INFO_CHUNK || std::next(first) != last;
}

void RecoverySurvey::orderFrames()
{
    std::set<std::int64_t> taken;
    for (const IndexEntry& entry : m_info.entries) {
        const WalkedPiece* chunk = chunkAt(entry.offset);
        // A record that leads to a frame is that frame's, whatever else it says.
        const bool isFrame = chunk && chunk->type == ZD_FRAME_CHUNK && taken.insert(entry.offset).second;
        if (!isFrame && !wasFrame(entry))
            continue;
        m_slots.push_back(isFrame ? Slot(*chunk) : Slot());
        m_slotOffsets.push_back(entry.offset);
    }
    for (const WalkedPiece& chunk : m_chunks)
        if (chunk.type == ZD_FRAME_CHUNK && !taken.contains(chunk.offset))
            m_unlisted.push_back(chunk);
    fillSlots();
    dropSlotsOfOtherChunks();
}

// As many frames without a record as records that lead nowhere, and no place where a frame was destroyed: the records
// are damaged, not the frames. In a movie whose frames lie in order, theirs do as well.
void RecoverySurvey::fillSlots()
{
    if (lostFrames() != m_unlisted.size() || m_skippedBytes > 0 || m_infoPlace != InfoPlace::AtEnd)
        return;
    const bool inFileOrder = slotsAreInFileOrder();
    auto frame = m_unlisted.begin();
    for (Slot& slot : m_slots)
        if (!slot)
            slot = *frame++;
    m_unlisted.clear();
    if (inFileOrder)
        std::sort(m_slots.begin(), m_slots.end(), [](const Slot& a, const Slot& b) { return a->offset < b->offset; });
    for (std::size_t i = 0; i < m_slots.size(); ++i)
        m_slotOffsets[i] = m_slots[i]->offset;
}

bool RecoverySurvey::slotsAreInFileOrder() const
{
    std::int64_t last = -1;
    for (const Slot& slot : m_slots) {
        if (slot && slot->offset < last)
            return false;
        last = slot ? slot->offset : last;
    }
    return true;
}

// What is left of records that lead to a chunk that is not theirs says nothing about a frame.
void RecoverySurvey::dropSlotsOfOtherChunks()
{
    std::size_t kept = 0;
    for (std::size_t slot = 0; slot < m_slots.size(); ++slot) {
        if (!m_slots[slot] && chunkAt(m_slotOffsets[slot]))
            continue;
        m_slots[kept] = m_slots[slot];
        m_slotOffsets[kept++] = m_slotOffsets[slot];
    }
    m_slots.resize(kept);
    m_slotOffsets.resize(kept);
}

std::vector<WalkedPiece> RecoverySurvey::frames() const
{
    std::vector<WalkedPiece> frames;
    for (const Slot& slot : m_slots)
        if (slot)
            frames.push_back(*slot);
    frames.insert(frames.end(), m_unlisted.begin(), m_unlisted.end());
    return frames;
}

std::uint64_t RecoverySurvey::lostFrames() const
{
    return static_cast<std::uint64_t>(
        std::count_if(m_slots.begin(), m_slots.end(), [](const Slot& slot) { return !slot; }));
}

std::vector<QByteArray> RecoverySurvey::payloads(std::uint32_t type) const
{
    std::vector<QByteArray> payloads;
    const auto addTail = [&] {
        for (const WalkedPiece& piece : m_tailPieces)
            if (piece.isWhole() && piece.type == type)
                payloads.push_back(m_tail.bytes(piece.payload(), piece.size));
    };
    const auto addLast = [&](const auto& accepts) {
        const auto chunk = std::find_if(m_chunks.rbegin(), m_chunks.rend(), [&](const WalkedPiece& candidate) {
            return candidate.type == type && accepts(candidate);
        });
        if (chunk != m_chunks.rend())
            payloads.push_back(payloadOf(*chunk));
    };
    if (m_infoPlace == InfoPlace::Journal)
        addTail();
    addLast([this](const WalkedPiece& chunk) { return lists(chunk.offset); });
    addLast([](const WalkedPiece&) { return true; });
    if (m_infoPlace != InfoPlace::Journal)
        addTail();
    return payloads;
}

} // namespace zd::movietools
