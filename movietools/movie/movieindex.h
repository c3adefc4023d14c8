#pragma once

#include <libdataio/chunkinfo.h>

#include <QString>

#include <cstdint>
#include <vector>

namespace zd::movietools {

/// The index and the header attributes of a movie, read from its info chunk alone. Throws JobError.
ChunkInfo readMovieInfo(const QString& path);

/// The records of one chunk type, in frame order for frames; empty when the index lists none.
const std::vector<ChunkRecord>& recordsOf(const ChunkInfo& info, int type);

/// Length of a file in bytes, 0 when the system does not tell.
std::uint64_t fileBytes(const QString& path);

} // namespace zd::movietools
