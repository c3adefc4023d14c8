#pragma once

#include <QString>
#include <QTemporaryDir>

#include <cstdint>
#include <string>

namespace zd::test {

/// A directory of its own for one test, removed afterwards.
class TemporaryDirectory {
public:
    QString path(const char* name) const { return m_directory.filePath(QString::fromUtf8(name)); }

private:
    QTemporaryDir m_directory;
};

/// Whole files as bytes.
std::string readFile(const QString& path);
void writeFile(const QString& path, const std::string& bytes);

/// Bytes from hexadecimal digits; blanks are skipped.
std::string hex(const char* digits);

/// Little-endian and big-endian 32-bit words.
std::string word(std::uint32_t value);
std::string wordBigEndian(std::uint32_t value);

/// Edits: other bytes at an offset; the last `count` bytes cut off.
std::string withBytes(std::string bytes, std::size_t offset, const std::string& others);
std::string withoutTail(const std::string& bytes, std::size_t count);

/// A chunk written out by hand: headers and payload. Headers alone may claim any payload size.
std::string startHeader(std::uint32_t type, std::uint32_t size);
std::string endHeader(std::uint32_t type, std::uint32_t size);
std::string chunk(std::uint32_t type, const std::string& payload);

} // namespace zd::test
