#pragma once

#include <libdataio/export.h>

#include <QString>

#include <memory>
#include <optional>

namespace zd {

/// The lock that an `ImageWriter` takes on the movie that it creates or changes, for a program that looks at a movie before
/// it changes or replaces it: nobody else who locks changes it in between. Held as long as the object lives.
///
/// It is advisory: it keeps out those who take it as well, as every `ImageWriter` does, and never a reader. It belongs to the
/// file, not to the name. It never waits. Movable, used by one thread at a time.
class DATAIO_EXPORT MovieLock {
public:
    /// Locks the movie at `path`. Nothing when another writer holds it, in this process or another one. Otherwise an object,
    /// which holds no lock when there is no such file or it cannot be opened, when it is no regular file, when the file
    /// system knows no locks, and when `DATAIO_LOCKING=0` in the environment turns locking off. The path still leads to the
    /// file that was locked: a movie that took its place meanwhile is locked instead.
    static std::optional<MovieLock> tryLock(const QString& path);

    MovieLock(MovieLock&& other) noexcept;
    MovieLock& operator=(MovieLock&& other) noexcept;
    MovieLock(const MovieLock&) = delete;
    MovieLock& operator=(const MovieLock&) = delete;
    ~MovieLock();

    /// Whether a file is locked.
    bool isHeld() const;

private:
    friend class HeldLock;
    struct DATAIO_HIDDEN State;

    DATAIO_HIDDEN MovieLock();

    std::shared_ptr<const State> m_state; // empty: nothing is locked
};

} // namespace zd
