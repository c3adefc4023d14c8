#pragma once

#include <libdataio/attributechunk.h>
#include <libdataio/recordingremains.h>
#include <movietools/recover/recoverysurvey_p.h>

#include <QByteArray>

#include <optional>

namespace zd::movietools {

/// Payloads of the side data of a recovered movie; nothing where the movie has none.
struct RecoveredSideData {
    std::optional<QByteArray> fibers;
    std::optional<QByteArray> times;
    std::optional<QByteArray> laserPowers;
    std::uint64_t unplacedTimes = 0; ///< of the recording's log, that belong behind a frame without a time
};

/// Brings side data in step with the frames that are left. Payloads that fit are kept byte by byte. Times that the
/// header keeps as attributes are taken out of it when frames are lost between them.
RecoveredSideData recoverSideData(const RecoverySurvey& survey, const RecordingRemains& remains,
                                  AttributeChunk& header);

} // namespace zd::movietools
