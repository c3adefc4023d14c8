#pragma once

#include <movietools/files/bytesource.h>
#include <movietools/movie/chunkwalk.h>

#include <libdataio/imagefilelayout.h>

#include <QString>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

/// Checksums of a movie's frames and side data, kept in an attribute of its header, so that changed bytes are found
/// where the format itself has no protection.
namespace zd::movietools {

/// Name of the attribute.
inline constexpr QLatin1StringView checksumAttribute{"plug_checksums"};

/// CRC-32 values: one for each frame that the index lists, in the order in which they lie in the file, and one for
/// all chunks of side data together, in that order too.
struct MovieChecksums {
    std::uint32_t sideData = 0;
    std::vector<std::uint32_t> frames;

    /// The attribute's value: "crc32:" and the numbers, 32-bit little-endian, in Base64. About 5 characters a frame.
    QString text() const;
    /// Nothing for a value of another form.
    static std::optional<MovieChecksums> fromText(const QString& text);
};

/// CRC-32 of a payload in memory.
std::uint32_t payloadChecksum(const char* payload, std::int64_t size);
/// CRC-32 of a chunk's payload. Throws JobError.
std::uint32_t payloadChecksum(const ByteSource& movie, const WalkedPiece& chunk);
/// CRC-32 of types, sizes and payloads of chunks. Throws JobError.
std::uint32_t sideDataChecksum(const ByteSource& movie, const std::vector<WalkedPiece>& chunks);
/// The same of chunks that are yet to be written: types and payloads.
std::uint32_t sideDataChecksum(const std::vector<std::pair<std::uint32_t, QByteArray>>& chunks);

} // namespace zd::movietools
