#pragma once

#include <libdataio/attributechunk.h>
#include <movietools/files/bytesource.h>
#include <movietools/movie/chunkwalk.h>
#include <movietools/movie/infopayload.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace zd::movietools {

/// A movie taken apart: its pieces on disk and, when it ends in an info chunk, that chunk's content.
struct MovieContent {
    /// Walks the source, which must outlive this object. Throws JobError.
    explicit MovieContent(const ByteSource& source);

    const ByteSource& bytes;
    std::vector<WalkedPiece> pieces;
    std::optional<WalkedPiece> infoChunk; ///< the last piece, if it is a whole info chunk
    InfoPayload info;                     ///< as its own index says
    AttributeChunk header;

    /// The whole chunk that begins at an offset, or null.
    const WalkedPiece* chunkAt(std::int64_t offset) const;
    /// The chunks of a type that the index lists with their true type and length, in the order of the index.
    std::vector<WalkedPiece> listed(std::uint32_t type) const;
    /// The same in the order in which they lie in the file.
    std::vector<WalkedPiece> listedInFileOrder(std::uint32_t type) const;
    /// All listed chunks of side data, in the order in which they lie in the file.
    std::vector<WalkedPiece> listedSideData() const;
    /// The last whole chunk of a type in the file, or null.
    const WalkedPiece* lastOf(std::uint32_t type) const;
};

/// Whether chunks of this type hold what the library writes behind the frames: fibre centres, times, laser powers.
bool isSideData(std::uint32_t type);

} // namespace zd::movietools
