#pragma once

#include <libdataio/recordingremains.h>
#include <movietools/movie/chunkwalk.h>
#include <movietools/movie/infopayload.h>

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace zd::movietools {

/// What a file that may be damaged still holds: its whole chunks, mended where one of their headers is damaged, and
/// the order of its frames as far as an index tells it.
class RecoverySurvey {
public:
    /// Where the index and the header text were found.
    enum class InfoPlace {
        Nowhere,
        AtEnd,   ///< the movie's own, at its end
        Journal, ///< as the movie was before an edit that died
        Inside,  ///< an earlier one, or one that is cut short
    };

    /// A frame in its place in the movie; nothing when the index lists it and it is not there.
    using Slot = std::optional<WalkedPiece>;

    /// Examines the source, which must outlive this object. Throws JobError.
    RecoverySurvey(const ByteSource& source, const RecordingRemains& remains);

    const ByteSource& source() const { return m_source; }
    /// The whole chunks in file order, each with the type that it has or once had.
    const std::vector<WalkedPiece>& chunks() const { return m_chunks; }
    InfoPlace infoPlace() const { return m_infoPlace; }
    const InfoPayload& info() const { return m_info; }

    /// The frames that an index lists, in its order.
    const std::vector<Slot>& listedFrames() const { return m_slots; }
    /// The same by their offsets, lost ones included.
    const std::vector<std::int64_t>& listedOffsets() const { return m_slotOffsets; }
    /// The frames that no index lists, in file order.
    const std::vector<WalkedPiece>& unlistedFrames() const { return m_unlisted; }
    /// The frames of the movie, in order: listed ones that are there, then the others.
    std::vector<WalkedPiece> frames() const;
    std::uint64_t lostFrames() const;
    /// Payload bytes of most frames; nothing without frames.
    std::optional<std::uint32_t> usualFrameSize() const { return m_usualFrameSize; }
    /// Whether an index has a record of a chunk there.
    bool lists(std::int64_t offset) const { return m_records.contains(offset); }

    /// Payloads of a type that is there once in a movie, the most trusted first: of the listed chunk, of the last one
    /// in the file, of that from before an edit. Where the info comes from there, that one goes first.
    std::vector<QByteArray> payloads(std::uint32_t type) const;
    QByteArray payloadOf(const WalkedPiece& chunk) const;

    std::uint64_t mendedChunks() const { return m_mended; }
    std::int64_t tornBytes() const { return m_tornBytes; }       ///< at the end of the file, of a chunk begun there
    std::int64_t skippedBytes() const { return m_skippedBytes; } ///< that belong to no chunk

private:
    void findInfo();
    void takeInfo(WalkedPiece& chunk);
    bool listsAllChunks(const InfoPayload& info) const;
    bool takeInfoOfTail();
    bool takeInfoInside();
    void splitGaps();
    bool isMendable(const WalkedPiece& chunk) const;
    void measureFrames();
    void settleTypes();
    std::uint32_t settledType(const WalkedPiece& chunk) const;
    void sumUp();
    void orderFrames();
    const WalkedPiece* chunkAt(std::int64_t offset) const;
    bool wasFrame(const IndexEntry& entry) const;
    void fillSlots();
    bool slotsAreInFileOrder() const;
    void dropSlotsOfOtherChunks();

    const ByteSource& m_source;
    std::vector<WalkedPiece> m_pieces;
    std::vector<WalkedPiece> m_chunks;
    MemoryBytes m_tail; // the movie's end before an edit
    std::int64_t m_tailOffset;
    std::vector<WalkedPiece> m_tailPieces;
    InfoPlace m_infoPlace = InfoPlace::Nowhere;
    InfoPayload m_info;
    std::multimap<std::int64_t, IndexEntry> m_records; // of the index, by offset
    std::optional<std::uint32_t> m_usualFrameSize;
    std::vector<Slot> m_slots;
    std::vector<std::int64_t> m_slotOffsets;
    std::vector<WalkedPiece> m_unlisted;
    std::uint64_t m_mended = 0;
    std::int64_t m_tornBytes = 0;
    std::int64_t m_skippedBytes = 0;
};

} // namespace zd::movietools
