#pragma once

#include <libdataio/filelock_p.h>
#include <libdataio/movielock.h>

#include <memory>
#include <optional>

namespace zd {

struct MovieLock::State {
    ~State();

    LockedFile file;
    FileIdentity movie;
};

/// A writer's part in a lock that a program holds: kept while a movie is open under it, else the program's alone.
class HeldLock {
public:
    void borrow(const MovieLock& lock) { m_lender = lock.m_state; }
    /// Keeps the lock, if the program still holds it; the movie that it locks.
    std::optional<FileIdentity> keep();
    /// The movie that a lock locks, if any.
    static std::optional<FileIdentity> movieOf(const MovieLock& lock);
    void letGo() { m_kept.reset(); }

private:
    std::weak_ptr<const MovieLock::State> m_lender;
    std::shared_ptr<const MovieLock::State> m_kept;
};

} // namespace zd
