#pragma once

#include <movietools/verify/verify.h>

#include <QJsonObject>

/// What a verification found, for people and for programs.
namespace zd::tool {

/// Prints the condition of the movie in one line and every finding in another.
void printVerification(const movietools::Verification& verification);

/// The same as an object: "movie", "condition" ("sound", "damaged", "unreadable"), "bytes", "chunks", "frames",
/// "frames_with_checksum", "findings", and "counts" by name, which count findings that are not listed as well.
QJsonObject verificationJson(const movietools::Verification& verification);

} // namespace zd::tool
