#pragma once

namespace zd::detail {

/// Which machine code does a computation; the results are the same bit for bit.
enum class VectorPath : int {
    Fastest,  ///< the widest registers that this machine has
    Portable, ///< what every machine runs
};

/// Whether `path` may use AVX2 here.
inline bool usesAvx2(VectorPath path)
{
#if defined(__x86_64__)
    return path == VectorPath::Fastest && __builtin_cpu_supports("avx2");
#else
    return path == VectorPath::Fastest && false;
#endif
}

} // namespace zd::detail
