#pragma once

#include <libdataio/export.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace zd {

/// Where one chunk lies in its file.
struct ChunkRecord {
    ChunkRecord(std::uint32_t chunkOffset, std::uint32_t payloadLength) : offset(chunkOffset), length(payloadLength) {}

    std::uint32_t offset; ///< file offset of the start header
    std::uint32_t length; ///< payload size in bytes, headers not counted

    friend bool operator==(const ChunkRecord&, const ChunkRecord&) = default;
};

/// The table of a file's chunks: for each chunk type, in ascending order, the records of that type.
/// The order of the frame records is the movie's frame order. A copyable value.
class DATAIO_EXPORT ChunkIndex {
public:
    using Map = std::map<std::uint32_t, std::vector<ChunkRecord>>;

    ChunkIndex() = default;
    ChunkIndex(const ChunkIndex&) = default;
    ChunkIndex& operator=(const ChunkIndex&) = default;
    virtual ~ChunkIndex();

    /// Builds the index payload: the number of records, then type, offset and length of each. Stores its
    /// length in `size`; the caller owns the array and releases it with `delete[]` as an array of char.
    /// Throws std::length_error when the payload would not fit an int.
    virtual void* save(int& size);
    /// Appends the records of an index payload, the first bytes of `data`; returns how many bytes it took, to be
    /// read as an unsigned number. `data` needs no alignment and may be null when `size` is 0.
    /// Reports "CI_L_CHUNK", with nothing appended, when `size` is less than the payload's own count needs.
    virtual int load(const void* data, unsigned int size);
    /// Gives the next so many bytes of a payload, valid until the next call; null when they cannot be had.
    using NextBytes = std::function<const char*(std::size_t)>;
    /// The same from a payload of `size` bytes that comes in pieces. Returns the bytes taken, or nothing when a piece
    /// could not be had: some of the records may have been appended then.
    std::optional<unsigned int> load(unsigned int size, const NextBytes& next);
    /// Prints the records to standard output.
    virtual void debugDump();

    /// The records of a type; a missing type is inserted with an empty list.
    std::vector<ChunkRecord>& operator[](int type) { return m_records[static_cast<std::uint32_t>(type)]; }
    bool has(int type) const { return find(type) != end(); }
    Map::iterator find(int type) { return m_records.find(static_cast<std::uint32_t>(type)); }
    Map::const_iterator find(int type) const { return m_records.find(static_cast<std::uint32_t>(type)); }
    Map::iterator begin() { return m_records.begin(); }
    Map::iterator end() { return m_records.end(); }
    Map::const_iterator begin() const { return m_records.begin(); }
    Map::const_iterator end() const { return m_records.end(); }
    void removeChunkType(int type) { m_records.erase(static_cast<std::uint32_t>(type)); }
    void clear() { m_records.clear(); }

protected:
    /// Bytes of the index payload. Throws as `save` does.
    std::size_t payloadSize() const;
    /// The same for that many records.
    static std::size_t payloadSize(std::size_t recordCount);
    /// Writes the index payload, `payloadSize()` bytes, to `out`.
    void writePayload(char* out) const;

private:
    DATAIO_HIDDEN void _append(const char* entry, std::size_t entries, std::size_t expected);

    Map m_records;
};

} // namespace zd
