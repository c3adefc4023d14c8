#pragma once

#include <QString>

/// What the header of a movie can hold.
namespace zd::movietools {

/// Why a movie cannot keep this attribute as given, to be read after the attribute's name: "begins with a blank".
/// Empty when it can. Comments with line breaks are judged in their stored form.
QString whyNotStorable(const QString& name, const QString& value);

/// Whether the attribute follows from a movie's frames, so that setting it by hand would break the movie.
bool describesFrames(const QString& name);

} // namespace zd::movietools
