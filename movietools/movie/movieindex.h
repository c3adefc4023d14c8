#pragma once

#include <libdataio/chunkinfo.h>

#include <QString>

#include <vector>

namespace zd::movietools {

/// The index and the header attributes of a movie, read from its info chunk alone. Throws JobError.
ChunkInfo readMovieInfo(const QString& path);

/// The records of one chunk type, in frame order for frames; empty when the index lists none.
const std::vector<ChunkRecord>& recordsOf(const ChunkIndex& index, int type);

} // namespace zd::movietools
