#pragma once

#include <tests/support/faults.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace zd::test {

/// For every n until no call is left: runs `prepare`, then `operation` with its n-th system call failing as `fault`
/// says, then `check` with the code of what was reported. Returns how often something was.
template <typename Prepare, typename Operation, typename Check>
int withEveryFault(Fault fault, Prepare prepare, Operation operation, Check check)
{
    int reports = 0;
    bool struck = true;
    for (fault.at = 1; struck && fault.at < 500; ++fault.at) {
        SCOPED_TRACE(testing::Message() << "call " << fault.at << ", error " << fault.error << ", share "
                                        << static_cast<int>(fault.share));
        prepare();
        std::string code;
        {
            Faults faults(fault);
            code = codeOf(operation);
            struck = faults.struck();
        }
        reports += code.empty() ? 0 : 1;
        check(code);
    }
    EXPECT_FALSE(struck) << "there is no end of calls";
    return reports;
}

/// Runs `operation` in a process that is killed by `fault`; false when it came to its end before.
template <typename Operation>
bool diesOf(const Fault& fault, Operation operation)
{
    const pid_t child = fork();
    if (child == 0) {
        const Faults faults(fault);
        operation();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) ? WTERMSIG(status) == SIGKILL : WEXITSTATUS(status) == 0);
    return WIFSIGNALED(status);
}

} // namespace zd::test
