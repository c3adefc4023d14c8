#include <tests/support/moviewalk.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>

namespace zd::test {

namespace {

constexpr std::size_t headerBytes = 16;

struct Header {
    std::uint32_t type;
    std::uint32_t size;

    friend bool operator==(const Header&, const Header&) = default;
};

std::uint32_t bigEndianAt(const std::string& bytes, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

std::uint32_t littleEndianAt(const std::string& bytes, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}

std::optional<Header> headerAt(const std::string& bytes, std::size_t at, const char* mark)
{
    if (at + headerBytes > bytes.size() || bytes.compare(at, 6, mark) != 0 || bytes.compare(at + 14, 2, ">\n") != 0)
        return std::nullopt;
    return Header{bigEndianAt(bytes, at + 6), bigEndianAt(bytes, at + 10)};
}

std::optional<WalkedChunk> chunkAt(const std::string& bytes, std::size_t at)
{
    const auto start = headerAt(bytes, at, "\n<CSTA");
    if (!start || start != headerAt(bytes, at + headerBytes + start->size, "\n<CEND"))
        return std::nullopt;
    return WalkedChunk{start->type, at, bytes.substr(at + headerBytes, start->size)};
}

std::optional<WalkedChunk> chunkBefore(const std::string& bytes, std::size_t end)
{
    const auto header = end < headerBytes ? std::nullopt : headerAt(bytes, end - headerBytes, "\n<CEND");
    if (!header || header->size + 2 * headerBytes > end)
        return std::nullopt;
    return chunkAt(bytes, end - 2 * headerBytes - header->size);
}

std::vector<WalkedChunk> recordsOf(const std::string& bytes, const std::string& info)
{
    std::vector<WalkedChunk> records;
    const std::uint32_t count = littleEndianAt(info, 0);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = 4 + 12 * i;
        const std::size_t offset = littleEndianAt(info, at + 4);
        const auto listed = chunkAt(bytes, offset);
        EXPECT_TRUE(listed) << "record " << i << " lists no chunk";
        if (!listed)
            continue;
        EXPECT_EQ(listed->type, littleEndianAt(info, at)) << "record " << i;
        EXPECT_EQ(listed->payload.size(), littleEndianAt(info, at + 8)) << "record " << i;
        records.push_back(*listed);
    }
    return records;
}

} // namespace

std::vector<WalkedChunk> completeChunks(const std::string& bytes)
{
    std::vector<WalkedChunk> chunks;
    std::size_t at = 0;
    while (const auto chunk = chunkAt(bytes, at)) {
        chunks.push_back(*chunk);
        at += chunk->payload.size() + 2 * headerBytes;
    }
    return chunks;
}

std::vector<WalkedChunk> walk(const std::string& bytes)
{
    const std::vector<WalkedChunk> forwards = completeChunks(bytes);
    std::size_t walked = 0;
    for (const WalkedChunk& chunk : forwards)
        walked += chunk.payload.size() + 2 * headerBytes;
    EXPECT_EQ(walked, bytes.size()) << "the forward walk breaks off";

    std::vector<WalkedChunk> backwards;
    std::size_t end = bytes.size();
    while (const auto chunk = chunkBefore(bytes, end)) {
        backwards.push_back(*chunk);
        end = chunk->offset;
    }
    EXPECT_EQ(end, 0U) << "the backward walk breaks off";
    std::reverse(backwards.begin(), backwards.end());
    EXPECT_EQ(forwards, backwards);
    return forwards;
}

std::vector<WalkedChunk> walkMovie(const std::string& bytes)
{
    std::vector<WalkedChunk> chunks = walk(bytes);
    if (chunks.empty() || chunks.back().type != 5) {
        ADD_FAILURE() << "no info chunk at the end";
        return chunks;
    }
    std::vector<WalkedChunk> listed = recordsOf(bytes, chunks.back().payload);
    std::sort(listed.begin(), listed.end(),
              [](const WalkedChunk& a, const WalkedChunk& b) { return a.offset < b.offset; });
    EXPECT_EQ(listed, std::vector<WalkedChunk>(chunks.begin(), chunks.end() - 1));
    return chunks;
}

std::string headerText(const std::string& bytes)
{
    const std::vector<WalkedChunk> chunks = walk(bytes);
    const std::string info = chunks.empty() ? std::string(4, '\0') : chunks.back().payload;
    return info.substr(4 + 12 * std::size_t{littleEndianAt(info, 0)});
}

std::vector<std::string> framesOf(const std::string& bytes)
{
    std::vector<std::string> frames;
    const std::vector<WalkedChunk> chunks = walk(bytes);
    if (chunks.empty())
        return frames;
    for (const WalkedChunk& record : recordsOf(bytes, chunks.back().payload)) {
        if (record.type == 2)
            frames.push_back(record.payload);
    }
    return frames;
}

} // namespace zd::test
