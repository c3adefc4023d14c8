#pragma once

#include <movietools/splice/mademovie.h>

namespace zd::tool {

/// Tells of a movie that was made: its name, frames and size.
void tellMade(const movietools::MadeMovie& movie);

} // namespace zd::tool
