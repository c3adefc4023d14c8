#pragma once

#include <tests/support/measures.h>

#include <cstdint>

/// What the process asks of `malloc`, whoever asks: `operator new`, Qt's containers, the C library. Sanitizers bring a
/// `malloc` of their own: with them nothing is counted, and their search for leaks takes over.
namespace zd::test::heap {

std::int64_t blocks(); ///< in use now
std::int64_t bytes();  ///< in use now
std::int64_t peak();   ///< most bytes in use since `resetPeak`
void resetPeak();

#if !DATAIO_SANITIZED
/// Makes the n-th request of this thread fail while it lives; when `lasting`, all later ones as well.
class MallocFault {
public:
    MallocFault(int at, bool lasting);
    MallocFault(const MallocFault&) = delete;
    MallocFault& operator=(const MallocFault&) = delete;
    ~MallocFault();

    bool struck() const;
};
#endif

} // namespace zd::test::heap
