#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace zd::test {

/// Puts a movie file together by hand, byte by byte, whole or damaged. Shares no code with the library.
class MovieBuilder {
public:
    /// A header value as the info chunk holds it.
    MovieBuilder& attribute(const std::string& name, const std::string& value);
    /// The values that every reader of frames asks for, and "endian" 2.
    MovieBuilder& frameFormat(int width, int height, int pixType, int pixBits);

    /// Appends a chunk and lists it in the index.
    MovieBuilder& chunk(std::uint32_t type, const std::string& payload);
    MovieBuilder& frame(const std::string& pixels) { return chunk(2, pixels); }
    /// Appends bytes that the index does not list.
    MovieBuilder& bytes(const std::string& bytes);
    /// Lists a chunk that need not be there.
    MovieBuilder& record(std::uint32_t type, std::uint32_t offset, std::uint32_t length);

    /// Where the next chunk begins.
    std::uint32_t end() const { return static_cast<std::uint32_t>(m_chunks.size()); }

    std::string infoPayload() const;
    /// The chunks so far.
    std::string unfinished() const { return m_chunks; }
    /// The whole file: the chunks and the info chunk.
    std::string movie() const;

private:
    struct Record {
        std::uint32_t offset;
        std::uint32_t length;
    };

    std::string m_chunks;
    std::map<std::uint32_t, std::vector<Record>> m_index;
    std::map<std::string, std::string> m_attributes;
};

/// Payloads: words one after the other, and times of seconds and microseconds.
std::string words(std::initializer_list<std::uint32_t> values);
std::string timeBytes(std::int32_t seconds, std::int32_t microseconds);

/// A frame of `size` bytes that count up from `first`.
std::string countingFrame(std::size_t size, char first);

} // namespace zd::test
