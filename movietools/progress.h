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

} // namespace zd::movietools
