#pragma once

#include <QString>

#include <string>
#include <utility>

namespace zd::tool {

/// Name and value of an argument of --attr, "NAME=VALUE". Throws UsageError for one that no header can keep.
std::pair<QString, QString> attributeArgument(const std::string& argument);

} // namespace zd::tool
