#include <libdataio/chunkinfo.h>
#include <libdataio/imagereader.h>
#include <tests/support/moviebytes.h>
#include <tests/support/printed.h>
#include <tests/support/report.h>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>
#include <vector>

namespace zd {

namespace {

using testing::ElementsAre;
using Record = ChunkRecord;
using Map = ChunkIndex::Map;

template <typename Index>
std::string saved(Index& index)
{
    int size = -1;
    const std::unique_ptr<char[]> bytes(static_cast<char*>(index.save(size)));
    return {bytes.get(), static_cast<std::size_t>(size)};
}

template <typename Index>
int load(Index& index, const std::string& payload)
{
    return index.load(payload.data(), static_cast<unsigned int>(payload.size()));
}

std::string entry(std::uint32_t type, std::uint32_t offset, std::uint32_t length)
{
    return test::word(type) + test::word(offset) + test::word(length);
}

ChunkInfo exampleInfo()
{
    ChunkInfo info;
    info[2].emplace_back(0U, 16U);
    info.set(QStringLiteral("width"), 4);
    info.set(QStringLiteral("height"), 2);
    return info;
}

const std::string examplePayload = test::hex("01000000 02000000 00000000 10000000") + "height=2\nwidth=4\n";

ChunkIndex example()
{
    ChunkIndex index;
    index[5].emplace_back(2112U, 300U);
    index[2].emplace_back(0U, 1024U);
    index[2].emplace_back(1056U, 1024U);
    return index;
}

Map entriesOf(const ChunkIndex& index)
{
    return {index.begin(), index.end()};
}

struct PayloadSize : ChunkIndex {
    using ChunkIndex::payloadSize;
};

} // namespace

TEST(ChunkIndex, SavesTheDescribedBytesAndLoadsThemBack)
{
    ChunkIndex index = example();
    const std::string payload = test::hex("03000000 02000000 00000000 00040000 02000000 20040000 00040000"
                                          "05000000 40080000 2C010000");
    EXPECT_EQ(saved(index), payload);

    ChunkIndex loaded;
    EXPECT_EQ(load(loaded, payload + "text that follows"), 40);
    EXPECT_EQ(entriesOf(loaded), (Map{{2, {Record(0, 1024), Record(1056, 1024)}}, {5, {Record(2112, 300)}}}));
    // From here the data lie at an odd address, and the lists go on.
    const std::string shifted = "?" + payload;
    EXPECT_EQ(loaded.load(shifted.data() + 1, 40), 40);
    EXPECT_THAT(loaded[2], ElementsAre(Record(0, 1024), Record(1056, 1024), Record(0, 1024), Record(1056, 1024)));
    EXPECT_EQ(loaded[5].size(), 2U);
    EXPECT_EQ(load(loaded, test::hex("00000000")), 4);
}

TEST(ChunkIndex, LoadsTypesInAnyOrder)
{
    std::string payload = test::word(2001) + entry(0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFD);
    std::vector<Record> expected;
    for (std::uint32_t i = 0; i < 1000; ++i) {
        payload += entry(2, i, 10) + entry(8, 5000 + i, 20);
        expected.emplace_back(i, 10U);
    }
    ChunkIndex index;
    EXPECT_EQ(load(index, payload), 4 + 12 * 2001);
    EXPECT_EQ(index[2], expected);
    EXPECT_LE(index[2].capacity(), 2 * expected.size());
    EXPECT_EQ(index[8].back(), Record(5999, 20));
    EXPECT_THAT(index[-1], ElementsAre(Record(0xFFFFFFFE, 0xFFFFFFFD)));
}

TEST(ChunkIndex, LoadsAPayloadThatComesInPieces)
{
    std::string payload = test::word(10'003);
    for (std::uint32_t i = 0; i < 10'000; ++i)
        payload += entry(2, 36 * i, 4);
    payload += entry(7, 1, 2) + entry(8, 3, 4) + entry(2, 5, 6);
    ChunkIndex whole;
    load(whole, payload);

    const auto loadPieces = [&payload](ChunkIndex& index, std::size_t available) {
        std::string piece;
        std::size_t at = 0;
        return index.load(static_cast<unsigned int>(payload.size()) + 5, [&](std::size_t size) -> const char* {
            EXPECT_LT(size, 100'000U);
            if (at + size > available)
                return nullptr;
            piece = payload.substr(at, size);
            at += size;
            return piece.data();
        });
    };
    ChunkIndex index;
    EXPECT_EQ(loadPieces(index, payload.size()), payload.size()) << "the rest is left to the caller";
    EXPECT_EQ(entriesOf(index), entriesOf(whole));
    EXPECT_EQ(index[2].size(), 10'001U);
    for (const std::size_t available : {std::size_t{3}, std::size_t{4}, std::size_t{100}, payload.size() - 1}) {
        ChunkIndex cut;
        EXPECT_EQ(loadPieces(cut, available), std::nullopt) << available;
    }
}

TEST(ChunkIndex, RefusesPayloadsShorterThanTheirCount)
{
    ChunkIndex index = example();
    const std::string before = saved(index);
    const std::string records = entry(2, 1, 2) + entry(2, 3, 4) + entry(2, 5, 6);
    for (const std::string& payload :
         {std::string(), test::hex("000000"), (test::word(3) + records).substr(0, 39), test::word(1),
          test::word(0x15555556) + records, test::word(0xFFFFFFFF) + records}) {
        EXPECT_EQ(test::codeOf([&] { load(index, payload); }), "CI_L_CHUNK");
        EXPECT_EQ(saved(index), before);
    }
    EXPECT_EQ(test::codeOf([&] { index.load(nullptr, 0); }), "CI_L_CHUNK");
}

TEST(ChunkIndex, PayloadSizeStaysWithinAnInt)
{
    EXPECT_EQ(PayloadSize::payloadSize(178956970), 2147483644U);
    EXPECT_THROW(PayloadSize::payloadSize(178956971), std::length_error);
}

TEST(ChunkIndex, IsAMapOfTypes)
{
    ChunkIndex index = example();
    index.removeChunkType(6);
    EXPECT_FALSE(index.has(7));
    EXPECT_EQ(index.find(7), index.end());
    EXPECT_TRUE(index[7].empty() && index.has(7));
    EXPECT_EQ(saved(index).size(), 40U) << "a type without records is not stored";

    const ChunkIndex copy = index;
    index.removeChunkType(2);
    EXPECT_EQ(entriesOf(index), (Map{{5, {Record(2112, 300)}}, {7, {}}}));
    EXPECT_EQ(copy.find(2)->second.size(), 2U);
    index.clear();
    EXPECT_FALSE(index.has(5));
    EXPECT_EQ(saved(index), test::hex("00000000"));
}

TEST(ChunkInfo, SavesIndexThenText)
{
    ChunkInfo info = exampleInfo();
    EXPECT_EQ(saved(info), examplePayload);
    info.set(QStringLiteral("height"), QStringLiteral("\u00E9\u00FF\u0100\u20AC\U0001F39E"));
    EXPECT_EQ(saved(info), examplePayload.substr(0, 16) + "height=\xE9\xFF????\nwidth=4\n");
    info.clear();
    EXPECT_EQ(saved(info), test::hex("00000000"));
}

TEST(ChunkInfo, PrintsIndexThenAttributes)
{
    ChunkInfo info = exampleInfo();
    info[2].emplace_back(48U, 1024U);
    info[-2].emplace_back(0xFFFFFFFFU, 1U);
    const std::string printed = test::standardOutputOf([&] { info.dumpDebug(); });
    EXPECT_EQ(printed, "Chunk index----------------------\n"
                       "index[2][0] -> first: off 0 - len 16 \n"
                       "index[2][1] -> first: off 48 - len 1024 \n"
                       "index[-2][0] -> first: off -1 - len 1 \n"
                       "---------------------------------\n"
                       "Attribute Chunk Dump:\nNumber of items: 2\n"
                       "height -> 2\nwidth -> 4\n");
    const test::TemporaryDirectory directory;
    test::writeFile(directory.path("movie"), test::chunk(5, saved(info)));
    ImageReader reader(directory.path("movie"));
    EXPECT_EQ(test::standardOutputOf([&] { reader.dumpDebug(); }), printed) << "of the movie that holds it";
}

TEST(ChunkInfo, LoadsOnTopOfWhatItHolds)
{
    ChunkInfo info;
    info.set(QStringLiteral("height"), 99);
    info.set(QStringLiteral("own"), 1);
    EXPECT_EQ(load(info, examplePayload), 1);
    const ChunkInfo copy = info;
    EXPECT_EQ(load(info, examplePayload.substr(0, 16)), 1) << "an index without text";
    EXPECT_THAT(info[2], ElementsAre(ChunkRecord(0, 16), ChunkRecord(0, 16)));
    EXPECT_EQ(saved(info).substr(28), "height=2\nown=1\nwidth=4\n");
    info = copy;
    EXPECT_EQ(info[2].size(), 1U);
}

} // namespace zd
