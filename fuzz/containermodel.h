#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace zd::fuzz {

/// What reader and writer of chunks have to do, on bytes in memory. Shares no code with the library.
class ContainerModel {
public:
    static constexpr std::int64_t none = -1;
    static constexpr std::int64_t headerBytes = 16;
    static constexpr std::int64_t largestPosition = 0xFFFFFFFF;

    enum class Meeting {
        End,     ///< no byte at all, or before the file
        Torn,    ///< less than a header
        Damaged, ///< no header
        Other,   ///< a header of another type
        Found,
    };
    struct Look {
        Meeting meeting;
        std::uint32_t size; ///< when found
    };

    explicit ContainerModel(std::string content) : bytes(std::move(content)) {}

    std::int64_t length() const { return static_cast<std::int64_t>(bytes.size()); }
    /// What a step towards either side of the position meets.
    Look ahead(std::uint32_t type) const { return at(position, "\n<CSTA", type); }
    Look behind(std::uint32_t type) const
    {
        return at(position == none ? none : position - headerBytes, "\n<CEND", type);
    }
    std::uint32_t typeAt(std::int64_t header) const { return number(header + 6); }
    /// The bytes of a payload that are there.
    std::string payload(std::int64_t start, std::uint32_t size) const
    {
        return start >= length() ? std::string() : bytes.substr(static_cast<std::size_t>(start), size);
    }

    void write(const std::string& chunk)
    {
        const auto start = static_cast<std::size_t>(position);
        if (bytes.size() < start + chunk.size())
            bytes.resize(start + chunk.size());
        bytes.replace(start, chunk.size(), chunk);
        position += static_cast<std::int64_t>(chunk.size());
    }

    std::string bytes;
    std::int64_t position = none;

private:
    std::uint32_t number(std::int64_t offset) const
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < 4; ++i)
            value = value << 8 | static_cast<unsigned char>(bytes[static_cast<std::size_t>(offset) + i]);
        return value;
    }

    Look at(std::int64_t header, const char* mark, std::uint32_t type) const
    {
        if (header < 0 || header >= length())
            return {Meeting::End, 0};
        if (header + headerBytes > length())
            return {Meeting::Torn, 0};
        const auto start = static_cast<std::size_t>(header);
        if (bytes.compare(start, 6, mark) != 0 || bytes.compare(start + 14, 2, ">\n") != 0)
            return {Meeting::Damaged, 0};
        if (number(header + 6) != type)
            return {Meeting::Other, 0};
        return {Meeting::Found, number(header + 10)};
    }
};

} // namespace zd::fuzz
