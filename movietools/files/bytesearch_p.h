#pragma once

#include <movietools/files/bytesource.h>
#include <movietools/job/progress.h>

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zd::movietools {

struct FoundBytes {
    std::size_t which = 0; ///< of the sequences
    std::int64_t offset = 0;
};

/// Searches a source for byte sequences, none of them empty, in blocks. Throws JobError, and JobCancelled when
/// `progress`, which is told nothing new, asks to stop.
std::optional<FoundBytes> findBytes(const ByteSource& source, const std::vector<QByteArray>& sequences,
                                    const ProgressCallback& progress);

} // namespace zd::movietools
