#pragma once

#include <vqf/parser/syntax.h>

#include <functional>
#include <string>

namespace zd::tool {

/// The argument that lets a subcommand wait while another program records or changes its movie: --wait[=SECONDS].
class WaitArgument {
public:
    /// The object must live until the arguments were used.
    void addTo(const Syntax& syntax);
    /// Runs a job; while it is refused because its movie is in use, again and again as long as it may wait. Throws what
    /// the job throws at last, and UsageError.
    void whenFree(const std::function<void()>& job) const;

private:
    double seconds() const;

    std::string m_text; // empty: not given
};

} // namespace zd::tool
