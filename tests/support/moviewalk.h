#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zd::test {

/// A chunk met on a walk over a file's bytes.
struct WalkedChunk {
    std::uint32_t type;
    std::size_t offset;
    std::string payload;

    friend bool operator==(const WalkedChunk&, const WalkedChunk&) = default;
};

/// The complete chunks from the start of a file on, until something else comes.
std::vector<WalkedChunk> completeChunks(const std::string& bytes);

/// Walks a file's bytes forwards and backwards and checks that both meet the same chunks, that headers agree in
/// pairs and that no byte is left over. Shares no code with the library.
std::vector<WalkedChunk> walk(const std::string& bytes);

/// Walks a closed movie and checks besides that the info chunk is the last and only one and that its index lists
/// exactly the other chunks, each where it is. Returns all chunks.
std::vector<WalkedChunk> walkMovie(const std::string& bytes);

/// The header text of a closed movie.
std::string headerText(const std::string& bytes);

/// The payloads of the frames in the order of the index.
std::vector<std::string> framesOf(const std::string& bytes);

} // namespace zd::test
