#include <tests/support/moviebuilder.h>

#include <tests/support/moviebytes.h>

namespace zd::test {

MovieBuilder& MovieBuilder::attribute(const std::string& name, const std::string& value)
{
    m_attributes[name] = value;
    return *this;
}

MovieBuilder& MovieBuilder::frameFormat(int width, int height, int pixType, int pixBits)
{
    return attribute("endian", "2")
        .attribute("width", std::to_string(width))
        .attribute("height", std::to_string(height))
        .attribute("pixtype", std::to_string(pixType))
        .attribute("pixbits", std::to_string(pixBits));
}

MovieBuilder& MovieBuilder::chunk(std::uint32_t type, const std::string& payload)
{
    record(type, end(), static_cast<std::uint32_t>(payload.size()));
    return bytes(test::chunk(type, payload));
}

MovieBuilder& MovieBuilder::bytes(const std::string& bytes)
{
    m_chunks += bytes;
    return *this;
}

MovieBuilder& MovieBuilder::record(std::uint32_t type, std::uint32_t offset, std::uint32_t length)
{
    m_index[type].push_back({offset, length});
    return *this;
}

std::string MovieBuilder::infoPayload() const
{
    std::string records;
    std::uint32_t count = 0;
    for (const auto& [type, list] : m_index) {
        for (const Record& record : list) {
            records += words({type, record.offset, record.length});
            ++count;
        }
    }
    std::string text;
    for (const auto& [name, value] : m_attributes)
        text += name + "=" + value + "\n";
    return word(count) + records + text;
}

std::string MovieBuilder::movie() const
{
    return m_chunks + test::chunk(5, infoPayload());
}

std::string words(std::initializer_list<std::uint32_t> values)
{
    std::string bytes;
    for (const std::uint32_t value : values)
        bytes += word(value);
    return bytes;
}

std::string timeBytes(std::int32_t seconds, std::int32_t microseconds)
{
    return words({static_cast<std::uint32_t>(seconds), static_cast<std::uint32_t>(microseconds)});
}

std::string countingFrame(std::size_t size, char first)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; ++i)
        bytes.push_back(static_cast<char>(first + static_cast<char>(i)));
    return bytes;
}

} // namespace zd::test
