#pragma once

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>

namespace zd::test {

/// Bytes of memory by the system's account of this process: "VmRSS" it has now, "VmHWM" it has had at most.
inline std::int64_t residentMemory(const std::string& figure)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(figure + ":"))
            return std::stoll(line.substr(figure.size() + 1)) * 1024;
    }
    throw std::runtime_error("no " + figure);
}

} // namespace zd::test
