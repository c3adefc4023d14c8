#pragma once

#include <movietools/job/joberror.h>

#include <QJsonObject>
#include <QString>

/// What the program says: results on standard output, everything else on standard error, all in UTF-8.
namespace zd::tool {

/// Text from files and arguments, made safe for a terminal: control characters and characters that turn the
/// direction of text are written as \n, \t, \r, \xNN or \uNNNN.
QString escaped(const QString& text);

/// Writes to standard output as it is.
void print(const QString& text);
/// The same for a line that tells what was done, unless the user wants to hear nothing. With --json the facts take its
/// place, as an object of the schema "vqf.done"; without facts that holds the line.
void tell(const QString& line, const QJsonObject& facts = {});
/// From now on, what is printed goes to standard error: standard output takes a file.
void leaveStandardOutput();
/// Writes one JSON object in one line, which begins with its schema and version.
void printJson(const QString& schema, int version, const QJsonObject& object);
/// The JSON text of a value in one line, pure of control characters.
QString jsonText(const QJsonObject& object);

/// Writes one line to standard error, after the program's name.
void complain(const QString& text);
/// The same: file, problem, advice and code.
void complain(const movietools::JobError& error);

/// Hands what was printed to the system; false when standard output did not take all of it. Ends the process quietly,
/// by SIGPIPE, when nobody reads it any more.
bool flushResults();

} // namespace zd::tool
