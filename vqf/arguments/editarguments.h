#pragma once

#include <movietools/movie/movieedit.h>
#include <vqf/arguments/waitargument.h>

namespace zd::tool {

/// What every subcommand takes that changes a movie in place: --wait, and --force to do that without protection.
class EditArguments {
public:
    /// The object must live until the arguments were used. Help tells the reader what `force` allows.
    void addTo(const Syntax& syntax, const char* force = "Go on where no journal protects the movie against a crash");
    bool isForced() const { return m_force; }
    movietools::WithoutJournal withoutJournal() const;
    /// See `WaitArgument`.
    void whenFree(const std::function<void()>& job) const { m_wait.whenFree(job); }

private:
    bool m_force = false;
    WaitArgument m_wait;
};

/// What help says of these arguments, and of what holds then.
extern const char* const editNote;

} // namespace zd::tool
