#include <movietools/movie/chunkwalk.h>

#include <tests/support/moviebytes.h>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <unistd.h>

namespace zd::movietools {
namespace {

using Kind = WalkedPiece::Kind;
using test::chunk;
using test::countingFrame;
using testing::ElementsAre;

std::vector<WalkedPiece> walk(const std::string& bytes)
{
    return walkChunks(MemoryBytes(QByteArray::fromStdString(bytes)));
}

WalkedPiece sound(std::uint32_t type, std::int64_t offset, std::uint32_t size)
{
    return {Kind::Chunk, false, false, type, type, size, offset, 32 + std::int64_t{size}};
}

WalkedPiece damaged(WalkedPiece chunk, bool start, bool end)
{
    chunk.kind = Kind::DamagedChunk;
    chunk.startDamaged = start;
    chunk.endDamaged = end;
    return chunk;
}

WalkedPiece gap(std::int64_t offset, std::int64_t length)
{
    return {Kind::Gap, false, false, 0, 0, 0, offset, length};
}

WalkedPiece torn(std::uint32_t type, std::int64_t offset, std::uint32_t size, std::int64_t length)
{
    return {Kind::TornChunk, false, false, type, type, size, offset, length};
}

// Two frames of 16 bytes: chunks at 0 and 48, 96 bytes.
std::string twoFrames()
{
    return chunk(2, countingFrame(16, 1)) + chunk(2, countingFrame(16, 50));
}

std::string edited(std::string bytes, std::size_t offset, const std::string& other)
{
    return bytes.replace(offset, other.size(), other);
}

TEST(ChunkWalk, FindsEveryChunkOfASoundFile)
{
    EXPECT_THAT(walk(test::smallMovie()),
                ElementsAre(sound(2, 0, 16), sound(2, 48, 16), sound(7, 96, 16), sound(8, 144, 2), sound(5, 178, 99)));
    EXPECT_THAT(walk(chunk(9, "") + chunk(0xFFFFFFFF, "x")), ElementsAre(sound(9, 0, 0), sound(0xFFFFFFFF, 32, 1)));
    EXPECT_THAT(walk(""), ElementsAre());
}

TEST(ChunkWalk, BelievesOneHeaderWhenAFewBytesOfTheOtherAreDamaged)
{
    const WalkedPiece first = sound(2, 0, 16);
    const WalkedPiece second = sound(2, 48, 16);
    // A mark, the closing mark, the size: of the start header, then of the end header.
    for (const std::size_t at : {0U, 4U, 14U, 10U, 13U})
        EXPECT_THAT(walk(edited(twoFrames(), at, "\x81")), ElementsAre(damaged(first, true, false), second)) << at;
    for (const std::size_t at : {32U, 36U, 46U, 42U, 45U})
        EXPECT_THAT(walk(edited(twoFrames(), at, "\x81")), ElementsAre(damaged(first, false, true), second)) << at;
    // The same at the end of the file.
    EXPECT_THAT(walk(edited(twoFrames(), 80, "XXXX")), ElementsAre(first, damaged(second, false, true)));
    EXPECT_THAT(walk(edited(twoFrames(), 48, "XXXX")), ElementsAre(first, damaged(second, true, false)));
    // Only the types differ: nobody knows which is right.
    WalkedPiece ambiguous = damaged(first, true, true);
    ambiguous.endType = 7;
    EXPECT_THAT(walk(edited(twoFrames(), 41, "\x07")), ElementsAre(ambiguous, second));
    // A size that leads to the end header of another chunk.
    EXPECT_THAT(walk(edited(twoFrames(), 13, "\x40")), ElementsAre(damaged(first, true, false), second));
    // A header of which little is left says that its payload may be damaged too.
    EXPECT_THAT(walk(edited(twoFrames(), 32, "XXXXX")), ElementsAre(gap(0, 48), second));
    EXPECT_THAT(walk(edited(twoFrames(), 0, "XXXXX")), ElementsAre(gap(0, 48), second));
    EXPECT_THAT(walk(edited(twoFrames(), 32, std::string(64, '\0'))), ElementsAre(gap(0, 96)));
}

TEST(ChunkWalk, SkipsWhatBelongsToNoChunk)
{
    const std::string junk = "\n<CSTA junk \n<CEND";
    const auto length = static_cast<std::int64_t>(junk.size());
    EXPECT_THAT(walk(junk + twoFrames()), ElementsAre(gap(0, length), sound(2, length, 16), sound(2, length + 48, 16)));
    EXPECT_THAT(walk(chunk(2, "a") + junk + chunk(2, "b")),
                ElementsAre(sound(2, 0, 1), gap(33, length), sound(2, 33 + length, 1)));
    EXPECT_THAT(walk(twoFrames() + std::string(5000, '\0')),
                ElementsAre(sound(2, 0, 16), sound(2, 48, 16), gap(96, 5000)));
    // Only a start header whose end header agrees in type and size counts.
    const std::string liar = test::startHeader(2, 4) + "abcd" + test::endHeader(2, 5);
    EXPECT_THAT(walk("?" + liar + chunk(2, "b")), ElementsAre(gap(0, 37), sound(2, 37, 1)));
}

TEST(ChunkWalk, NeverTakesPixelsForChunks)
{
    const std::string inner = "pixels" + chunk(2, countingFrame(8, 1)) + chunk(2, countingFrame(8, 1)) + "pixels";
    const auto size = static_cast<std::uint32_t>(inner.size());
    const std::string outer = chunk(2, inner);
    const std::string next = chunk(2, "next");
    const std::int64_t nextOffset = 32 + std::int64_t{size};
    EXPECT_THAT(walk(outer + next), ElementsAre(sound(2, 0, size), sound(2, nextOffset, 4)));
    EXPECT_THAT(walk(edited(outer, outer.size() - 1, "?") + next),
                ElementsAre(damaged(sound(2, 0, size), false, true), sound(2, nextOffset, 4)));
    // With its start header damaged, a chunk that is followed by nothing is distrusted until its container shows up.
    const std::string single = "pixels" + chunk(2, countingFrame(8, 1)) + "pixels";
    const auto singleSize = static_cast<std::uint32_t>(single.size());
    EXPECT_THAT(walk(edited(chunk(2, single), 0, "?") + next),
                ElementsAre(damaged(sound(2, 0, singleSize), true, false), sound(2, 32 + singleSize, 4)));
    EXPECT_THAT(walk(test::startHeader(2, 1000) + single),
                ElementsAre(torn(2, 0, 1000, 16 + std::int64_t{singleSize})));
}

TEST(ChunkWalk, CoversEveryPrefixOfAMovie)
{
    const std::string movie = test::smallMovie();
    const std::vector<WalkedPiece> whole = walk(movie);
    for (std::size_t length = 0; length < movie.size(); ++length) {
        const auto end = static_cast<std::int64_t>(length);
        std::vector<WalkedPiece> expected;
        for (const WalkedPiece& piece : whole) {
            if (piece.end() <= end)
                expected.push_back(piece);
            else if (piece.offset + 16 <= end)
                expected.push_back(torn(piece.type, piece.offset, piece.size, end - piece.offset));
            else if (piece.offset < end)
                expected.push_back(torn(0, piece.offset, 0, end - piece.offset));
        }
        EXPECT_EQ(walk(movie.substr(0, length)), expected) << length;
    }
}

TEST(ChunkWalk, FindsChunksAcrossTheBlocksOfItsSearch)
{
    constexpr std::size_t block = 1 << 20;
    for (std::size_t length = block - 40; length < block + 40; ++length) {
        const auto begin = static_cast<std::int64_t>(length);
        ASSERT_THAT(walk(std::string(length, '\n') + chunk(2, "pixels")),
                    ElementsAre(gap(0, begin), sound(2, begin, 6)))
            << length;
    }
}

TEST(ChunkWalk, ReachesBeyond32Bits)
{
    const test::TemporaryDirectory directory;
    const QString path = directory.path("long.vqf");
    const std::uint32_t size = 0xFFFFFFFF;
    const std::string behind = test::endHeader(2, size) + chunk(2, "last");
    test::writeFile(path, test::startHeader(2, size));
    const int fd = ::open(path.toUtf8().constData(), O_WRONLY);
    ASSERT_EQ(::pwrite(fd, behind.data(), behind.size(), 16 + off_t{size}), static_cast<ssize_t>(behind.size()));
    ::close(fd);

    FileBytes file(path);
    EXPECT_THAT(walkChunks(file), ElementsAre(sound(2, 0, size), sound(2, 32 + std::int64_t{size}, 4)));
    // What an overlay shows counts, wherever it lies.
    file.overlay(32 + std::int64_t{size}, QByteArray::fromStdString(chunk(7, "last")));
    EXPECT_THAT(walkChunks(file), ElementsAre(sound(2, 0, size), sound(7, 32 + std::int64_t{size}, 4)));
}

} // namespace
} // namespace zd::movietools
