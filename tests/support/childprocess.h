#pragma once

#include <new>
#include <stdexcept>

#include <sys/mman.h>
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

/// A value in memory that the process shares with its children; it lives as long as they do.
template <typename T>
T& sharedValue()
{
    void* memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        throw std::bad_alloc();
    return *new (memory) T;
}

} // namespace zd::test
