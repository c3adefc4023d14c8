#pragma once

#include <libdataio/attributechunk.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace zd::test {

/// Runs `operation` and returns what it wrote to the process's standard output.
template <typename Operation>
std::string standardOutputOf(Operation operation)
{
    std::FILE* file = std::tmpfile();
    const int original = dup(STDOUT_FILENO);
    if (!file || original < 0)
        throw std::runtime_error("cannot redirect standard output");
    std::fflush(stdout);
    dup2(fileno(file), STDOUT_FILENO);
    operation();
    std::fflush(stdout);
    dup2(original, STDOUT_FILENO);
    close(original);

    std::string written;
    std::rewind(file);
    for (int byte = std::getc(file); byte != EOF; byte = std::getc(file))
        written.push_back(static_cast<char>(byte));
    std::fclose(file);
    return written;
}

/// The lines of a header.
inline std::string dumped(const AttributeChunk& attributes)
{
    QString out;
    attributes.dump(out);
    return out.toStdString();
}

} // namespace zd::test
