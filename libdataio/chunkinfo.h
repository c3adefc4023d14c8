#pragma once

#include <libdataio/attributechunk.h>
#include <libdataio/chunkindex.h>

namespace zd {

/// The info record of a movie: its chunk index and its header attributes, stored as one payload, the index
/// first, then the attributes' text form in Latin-1 (characters above U+00FF become "?"). A copyable value.
class DATAIO_EXPORT ChunkInfo : public ChunkIndex, public AttributeChunk {
public:
    ChunkInfo() = default;
    ChunkInfo(const ChunkInfo&) = default;
    ChunkInfo& operator=(const ChunkInfo&) = default;
    ~ChunkInfo() override;

    /// Builds the info payload; ownership and failures as `ChunkIndex::save`.
    void* save(int& size) override;
    /// Appends the records and sets the attributes of an info payload; returns 1. Neither part is cleared
    /// first. Reports "CI_L_CHUNK" with both parts unchanged.
    int load(const void* data, unsigned int size) override;
    /// The same from a payload that comes in pieces. False when a piece could not be had: a part of the payload may
    /// have been taken then.
    bool load(unsigned int size, const NextBytes& next);
    /// Empties both parts.
    void clear();
    /// Prints both parts to standard output.
    virtual void dumpDebug();
};

} // namespace zd
