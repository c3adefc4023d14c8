#pragma once

#include <movietools/files/descriptor_p.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <map>

namespace zd::movietools {

/// Bytes that can be read at any offset, in any order.
class ByteSource {
public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource();

    virtual std::int64_t length() const = 0;
    /// Reads `size` bytes from `offset` (neither negative), or fewer where the source ends; returns how many.
    /// Throws JobError when the system fails.
    virtual std::int64_t read(std::int64_t offset, char* buffer, std::int64_t size) const = 0;
    /// The same as an array. Its size is limited by what the source holds.
    QByteArray bytes(std::int64_t offset, std::int64_t size) const;
};

/// A file as it lies on disk, whatever it holds, with its length at the moment of opening: a read that gives less than
/// that throws JobError.
class FileBytes : public ByteSource {
public:
    /// Opens a regular file for reading. Throws JobError, which advises so when it is none.
    explicit FileBytes(const QString& path, const QString& advice = QStringLiteral("name a movie file"));

    std::int64_t length() const override { return m_length; }
    std::int64_t read(std::int64_t offset, char* buffer, std::int64_t size) const override;
    int descriptor() const { return m_file.get(); } ///< borrowed, for reading
    /// Shows `bytes` in place of what the file holds at `offset`; nothing is written. Pieces do not overlap.
    void overlay(std::int64_t offset, const QByteArray& bytes);

private:
    std::int64_t readFile(std::int64_t offset, char* buffer, std::int64_t size) const;

    QString m_path;
    Descriptor m_file;
    std::int64_t m_length = 0;
    std::map<std::int64_t, QByteArray> m_overlays;
};

/// Bytes in memory.
class MemoryBytes : public ByteSource {
public:
    explicit MemoryBytes(const QByteArray& bytes) : m_bytes(bytes) {}

    std::int64_t length() const override { return m_bytes.size(); }
    std::int64_t read(std::int64_t offset, char* buffer, std::int64_t size) const override;

private:
    QByteArray m_bytes;
};

/// The length of the file of that name in bytes. Throws JobError.
std::uint64_t lengthOfFile(const QString& path);

} // namespace zd::movietools
