#include <tests/support/moviebytes.h>

#include <QFile>

#include <stdexcept>

namespace zd::test {

std::string readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    return file.readAll().toStdString();
}

void writeFile(const QString& path, const std::string& bytes)
{
    QFile file(path);
    const auto size = static_cast<qint64>(bytes.size());
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes.data(), size) != size)
        throw std::runtime_error("cannot write " + path.toStdString());
}

std::string hex(const char* digits)
{
    return QByteArray::fromHex(digits).toStdString();
}

std::string word(std::uint32_t value)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<char>(value >> shift & 0xFF));
    return bytes;
}

std::string wordBigEndian(std::uint32_t value)
{
    const std::string bytes = word(value);
    return {bytes.rbegin(), bytes.rend()};
}

std::string withBytes(std::string bytes, std::size_t offset, const std::string& others)
{
    return bytes.replace(offset, others.size(), others);
}

std::string withoutTail(const std::string& bytes, std::size_t count)
{
    return bytes.substr(0, bytes.size() - count);
}

std::string startHeader(std::uint32_t type, std::uint32_t size)
{
    return "\n<CSTA" + wordBigEndian(type) + wordBigEndian(size) + ">\n";
}

std::string endHeader(std::uint32_t type, std::uint32_t size)
{
    return "\n<CEND" + wordBigEndian(type) + wordBigEndian(size) + ">\n";
}

std::string chunk(std::uint32_t type, const std::string& payload)
{
    const auto size = static_cast<std::uint32_t>(payload.size());
    return startHeader(type, size) + payload + endHeader(type, size);
}

} // namespace zd::test
