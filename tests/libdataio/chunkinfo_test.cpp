#include <libdataio/chunkinfo.h>
#include <tests/support/moviebytes.h>
#include <tests/support/printed.h>

#include <gmock/gmock.h>

#include <memory>

namespace zd {

namespace {

using testing::ElementsAre;

std::string saved(ChunkInfo& info)
{
    int size = -1;
    const std::unique_ptr<char[]> bytes(static_cast<char*>(info.save(size)));
    return {bytes.get(), static_cast<std::size_t>(size)};
}

int load(ChunkInfo& info, const std::string& payload)
{
    return info.load(payload.data(), static_cast<unsigned int>(payload.size()));
}

ChunkInfo example()
{
    ChunkInfo info;
    info[2].emplace_back(0U, 16U);
    info.set(QStringLiteral("width"), 4);
    info.set(QStringLiteral("height"), 2);
    return info;
}

const std::string examplePayload = test::hex("01000000 02000000 00000000 10000000") + "height=2\nwidth=4\n";

} // namespace

TEST(ChunkInfo, SavesIndexThenText)
{
    ChunkInfo info = example();
    EXPECT_EQ(saved(info), examplePayload);
    info.set(QStringLiteral("height"), QStringLiteral("\u00E9\u00FF\u0100\u20AC\U0001F39E"));
    EXPECT_EQ(saved(info), examplePayload.substr(0, 16) + "height=\xE9\xFF????\nwidth=4\n");
    info.clear();
    EXPECT_EQ(saved(info), test::hex("00000000"));
}

TEST(ChunkInfo, PrintsIndexThenAttributes)
{
    ChunkInfo info = example();
    info[2].emplace_back(48U, 1024U);
    info[-2].emplace_back(0xFFFFFFFFU, 1U);
    EXPECT_EQ(test::standardOutputOf([&] { info.dumpDebug(); }), "Chunk index----------------------\n"
                                                                 "index[2][0] -> first: off 0 - len 16 \n"
                                                                 "index[2][1] -> first: off 48 - len 1024 \n"
                                                                 "index[-2][0] -> first: off -1 - len 1 \n"
                                                                 "---------------------------------\n"
                                                                 "Attribute Chunk Dump:\nNumber of items: 2\n"
                                                                 "height -> 2\nwidth -> 4\n");
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
