#pragma once

#if defined(__x86_64__)
/// Marks a function that is compiled for 32-byte vectors, to be called only where they are available.
#define DATAIO_AVX2 [[gnu::target("avx2")]]
#endif

namespace zd::detail::avx2 {

/// Whether this machine has 32-byte vectors of integers.
inline bool available()
{
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

} // namespace zd::detail::avx2
