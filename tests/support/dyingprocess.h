#pragma once

#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace zd::test {

/// Runs `operation` in a process that then ends at once, as if it had been killed: nothing is closed or completed.
template <typename Operation>
void inDyingProcess(Operation operation)
{
    const pid_t child = fork();
    if (child == 0) {
        operation();
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("the process did not come to its end");
}

} // namespace zd::test
