#pragma once

#include <vqf/parser/commandtree.h>

/// What makes shells complete the program's commands, options and their values; other words are completed as files.
namespace zd::tool {

QString bashCompletion(const CommandWords& program);
QString zshCompletion(const CommandWords& program);
QString fishCompletion(const CommandWords& program);

} // namespace zd::tool
