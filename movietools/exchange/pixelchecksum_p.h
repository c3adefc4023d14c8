#pragma once

#include <QString>

#include <cstddef>
#include <memory>

namespace zd::movietools {

/// Tells pixels from others: XXH3 of 64 bits over all samples, frame after frame, as fast as memory is read. It is no
/// protection against people who want to deceive.
class PixelChecksum {
public:
    PixelChecksum();
    PixelChecksum(const PixelChecksum&) = delete;
    PixelChecksum& operator=(const PixelChecksum&) = delete;
    ~PixelChecksum();

    void add(const void* bytes, std::size_t size);
    /// Of everything so far: "xxh3:" and 16 hexadecimal digits.
    QString text() const;

    /// The same of a file's bytes. Throws JobError.
    static QString ofFile(const QString& path);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace zd::movietools
