#pragma once

#include <QImage>

namespace zd::detail {

/// The picture that stands for a movie of one-dimensional data: a signal trace, 160 x 120 pixels in 33 colours,
/// greys and yellows.
QImage stockPicture();

} // namespace zd::detail
