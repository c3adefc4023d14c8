#pragma once

#include <movietools/files/descriptor_p.h>
#include <movietools/files/outputfile.h>

#include <QByteArray>

#include <cstddef>
#include <cstdint>

namespace zd::movietools {

/// An output file to which bytes are appended. Throws JobError.
class PlainOutput {
public:
    PlainOutput(const QString& path, bool replace, const QStringList& inputs);

    const QString& path() const { return m_file.path(); } ///< as the caller named it
    void requireRoom(std::uint64_t bytes) const { m_file.requireRoom(bytes); }
    void write(const void* data, std::size_t size);
    void write(const QByteArray& bytes) { write(bytes.constData(), static_cast<std::size_t>(bytes.size())); }
    /// Checks the length of what the disk took.
    void close();
    /// Gives the closed file its name. Returns its length.
    std::uint64_t commit();
    // The halves of `commit`, as those of OutputFile.
    void place() { m_file.place(); }
    [[nodiscard]] bool settle() noexcept { return m_file.settle(); }
    std::uint64_t written() const { return m_written; } ///< bytes

private:
    OutputFile m_file;
    Descriptor m_descriptor;
    std::uint64_t m_written = 0;
};

} // namespace zd::movietools
