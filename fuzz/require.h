#pragma once

#include <common/iofileexception.h>

#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>

namespace zd::fuzz {

/// Ends the process, as a finding, unless `holds`.
inline void require(bool holds, const char* invariant)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n", invariant);
    std::abort();
}

/// Runs an operation that may only fail with one of these codes; returns the code, empty when it did not fail.
template <typename Operation>
std::string codeOf(std::initializer_list<const char*> allowed, Operation operation)
{
    try {
        operation();
        return {};
    } catch (const IOFileException& e) {
        const std::string code = e.code().toStdString();
        for (const char* described : allowed) {
            if (code == described)
                return code;
        }
        require(false, ("no code other than the described ones, got " + code).c_str());
    } catch (const std::exception& e) {
        require(false, e.what());
    }
    return {};
}

} // namespace zd::fuzz
