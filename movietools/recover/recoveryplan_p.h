#pragma once

#include <libdataio/attributechunk.h>
#include <movietools/recover/recoveroptions.h>
#include <movietools/recover/recoverysurvey_p.h>

#include <QByteArray>

#include <cstdint>
#include <vector>

namespace zd::movietools {

/// A chunk of a recovered movie that lies in the damaged one.
struct KeptChunk {
    WalkedPiece piece;
    bool isListed = true; ///< whether the index gets a record of it
};

/// A chunk of a recovered movie that is written anew behind the kept ones.
struct NewChunk {
    std::uint32_t type;
    QByteArray payload;
};

/// What a recovered movie consists of.
struct RecoveryPlan {
    std::vector<KeptChunk> kept;         ///< frames and chunks of unknown types, in file order
    std::vector<std::size_t> frameOrder; ///< places of the movie's frames in `kept`
    std::vector<NewChunk> sideData;      ///< in the order in which they are written
    AttributeChunk header;
    RecoverResult outcome; ///< all but the verification

    /// Bytes of the whole movie but for its info chunk.
    std::int64_t bytes() const;
};

/// Decides what a recovery writes. Throws JobError when nothing is there to recover.
RecoveryPlan planRecovery(const RecoverySurvey& survey, const RecordingRemains& remains, const RecoverOptions& options);

} // namespace zd::movietools
