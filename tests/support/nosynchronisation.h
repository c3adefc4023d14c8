#pragma once

#include <libdataio/systemcalls_p.h>

namespace zd::test {

/// Makes synchronisation return at once while it lives: it waits for a disk, and no test cuts the power.
class NoSynchronisation {
public:
    NoSynchronisation() : m_system(systemCalls)
    {
        systemCalls.fdatasync = [](int) { return 0; };
    }
    NoSynchronisation(const NoSynchronisation&) = delete;
    NoSynchronisation& operator=(const NoSynchronisation&) = delete;
    ~NoSynchronisation() { systemCalls = m_system; }

private:
    const SystemCalls m_system;
};

} // namespace zd::test
