#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace zd {

/// Saves the complete frames that follow one another from `start` on as a movie of their own beside `movie`
/// (`<name>-rescued`, with a number when that is taken), with the header of the info record `infoPayload`, and with
/// the times and laser powers that a log of the recording gives them. It appears when it is complete on the storage device.
/// Makes no file when there are no such frames, and no second one when an attempt before this one came so far.
/// Reports the failures of writing, and "CI_L_CHUNK" for a damaged info record; no file is left then.
void rescueFrames(const QString& movie, int movieFD, std::int64_t start, const QByteArray& infoPayload);

} // namespace zd
