#pragma once

#include <cstdint>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define DATAIO_OWN_MALLOC 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define DATAIO_OWN_MALLOC 0
#else
#define DATAIO_OWN_MALLOC 1
#endif
#else
#define DATAIO_OWN_MALLOC 1
#endif

/// What the process asks of `malloc`, whoever asks: `operator new`, Qt's containers, the C library. Sanitizers bring a
/// `malloc` of their own; with them nothing is counted (`DATAIO_OWN_MALLOC` is 0) and their leak check takes over.
namespace zd::test::heap {

std::int64_t blocks(); ///< in use now
std::int64_t bytes();  ///< in use now
std::int64_t peak();   ///< most bytes in use since `resetPeak`
void resetPeak();

#if DATAIO_OWN_MALLOC
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
