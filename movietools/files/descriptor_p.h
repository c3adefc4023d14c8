#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace zd::movietools {

/// Owns a file descriptor. Calls that a signal interrupts are repeated.
class Descriptor {
public:
    explicit Descriptor(int fd) : m_fd(fd) {} ///< what `open` returned; -1 is none
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    int get() const { return m_fd; }
    /// False, with `errno` set, when the system fails.
    bool write(const void* data, std::size_t size) const { return writeTo(m_fd, data, size); }
    /// Reads from `offset` as much as there is, at most `size` bytes; -1, with `errno` set, when the system fails.
    std::int64_t readAt(std::int64_t offset, char* buffer, std::int64_t size) const;
    /// False, with `errno` set, when the system fails.
    bool close();

    /// What the system's `open` gives, close-on-exec.
    static int openFile(const QByteArray& path, int flags, unsigned mode = 0);
    /// The same as `write` on a descriptor that somebody else owns.
    static bool writeTo(int fd, const void* data, std::size_t size);

private:
    int m_fd;
};

} // namespace zd::movietools
