#pragma once

#include <string>

namespace zd::tool {

/// Arguments that do not go together. Thrown by `Command::run`; ends the program as wrong usage.
struct UsageError {
    std::string problem;
};

} // namespace zd::tool
