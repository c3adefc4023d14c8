#pragma once

#include <vqf/parser/commandtree.h>

namespace zd::tool {

/// The manual page vqf(1), in the language of man(7).
QString manualPage(const CommandWords& program, const QString& version);

} // namespace zd::tool
