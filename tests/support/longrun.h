#pragma once

#include <cstdlib>

namespace zd::test {

/// Whether the long forms of tests were asked for, with DATAIO_LONG=1 in the environment.
inline bool isLongRun()
{
    const char* wish = std::getenv("DATAIO_LONG");
    return wish != nullptr && *wish != '\0' && *wish != '0';
}

} // namespace zd::test
