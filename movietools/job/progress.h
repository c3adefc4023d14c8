#pragma once

#include <cstdint>
#include <functional>

namespace zd::movietools {

/// How far a job has come.
struct Progress {
    std::uint64_t framesDone = 0;
    std::uint64_t framesTotal = 0;
    std::uint64_t bytesDone = 0; ///< pixel bytes
};

/// Called before the first frame and after each one; false asks the job to stop, which leaves no output behind.
using ProgressCallback = std::function<bool(const Progress&)>;

/// Thrown by a job whose progress callback asked it to stop.
struct JobCancelled {};

/// Tells a callback, which may be empty. Throws JobCancelled when it asks to stop.
inline void report(const ProgressCallback& callback, const Progress& progress)
{
    if (callback && !callback(progress))
        throw JobCancelled{};
}

} // namespace zd::movietools
