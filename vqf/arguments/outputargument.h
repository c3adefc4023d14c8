#pragma once

#include <vqf/arguments/waitargument.h>
#include <vqf/parser/syntax.h>

#include <QString>

#include <string>

namespace zd::tool {

/// The arguments that name the file a subcommand makes: -o PATH, or "-" for standard output, and --force.
class OutputArgument {
public:
    /// Adds the options to a subcommand; `what` is "movie", "stack", ... The object must live until the arguments were
    /// used.
    Option addTo(const Syntax& syntax, const char* what);
    /// The path as jobs take it; what is printed leaves standard output to the file. Throws UsageError for a terminal,
    /// which gets no bytes of files.
    QString path() const;
    bool replaces() const { return m_force; } ///< whether an existing file may be replaced

    bool isStandardOutput() const { return m_path == "-"; }
    bool isGiven() const { return !m_path.empty(); }

private:
    std::string m_path;
    bool m_force = false;
};

/// The same for a movie: --wait waits until nobody records or changes the one that is replaced.
class MovieOutputArgument : public OutputArgument {
public:
    Option addTo(const Syntax& syntax, const char* what = "movie");
    /// See `WaitArgument`.
    void whenFree(const std::function<void()>& job) const { m_wait.whenFree(job); }

private:
    WaitArgument m_wait;
};

} // namespace zd::tool
