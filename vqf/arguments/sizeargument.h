#pragma once

#include <QSize>

#include <string>

namespace zd::tool {

/// A picture's size from text like "160x120", or "256" for both sides, which are above 0. Throws UsageError for other text, which names --size.
QSize parseSize(const std::string& text);

} // namespace zd::tool
