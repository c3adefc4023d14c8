#include <libdataio/fdchunkreader.h>
#include <libdataio/payloadreader_p.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace zd {

namespace {

using namespace test;

constexpr std::size_t start = 100;

std::string numbered(std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
}

class PayloadReaderTest : public testing::Test {
protected:
    /// A reader of `size` bytes that lie somewhere in a file.
    PayloadReader of(std::size_t size)
    {
        m_payload = numbered(size);
        writeFile(m_path, std::string(start, '<') + m_payload + std::string(200'000, '>'));
        return {m_file.get(), start, static_cast<std::int64_t>(size)};
    }

    std::string payload(std::size_t from, std::size_t size) const { return m_payload.substr(from, size); }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("file");
    const Descriptor m_file{m_path, O_RDWR | O_CREAT};
    std::string m_payload;
};

} // namespace

TEST_F(PayloadReaderTest, GivesPiecesOfAnySizeInOrder)
{
    PayloadReader reader = of(500'000);
    std::size_t at = 0;
    const auto expectPiece = [&](std::size_t size) {
        const char* piece = reader.next(size);
        ASSERT_NE(piece, nullptr) << size;
        EXPECT_EQ(m_payload.compare(at, size, piece, size), 0) << at;
        at += size;
        EXPECT_EQ(reader.left(), static_cast<std::int64_t>(500'000 - at));
    };
    const auto expectCopy = [&](std::size_t size) {
        std::string copy(size, '?');
        ASSERT_TRUE(reader.next(copy.data(), size));
        EXPECT_TRUE(copy == payload(at, size)) << at;
        at += size;
        EXPECT_EQ(reader.left(), static_cast<std::int64_t>(500'000 - at));
    };
    expectCopy(10);
    {
        const Allocations allocations;
        for (const std::size_t size : std::initializer_list<std::size_t>{4, 49'152, 49'152, 1, 65'536, 12})
            expectPiece(size);
        EXPECT_LE(allocations.largest(), 65'536U) << "no more than the largest piece";
    }
    expectCopy(70'000);
    expectPiece(130'000);
    expectCopy(1);
    EXPECT_EQ(reader.next(500'000 - at + 1), nullptr) << "more than there is";
    char byte = 0;
    EXPECT_FALSE(reader.next(&byte, 500'000 - at + 1));
    expectPiece(500'000 - at);
    EXPECT_EQ(reader.next(1), nullptr);
    EXPECT_FALSE(reader.next(&byte, 1));
}

TEST_F(PayloadReaderTest, GivesNothingThatCannotBeRead)
{
    std::vector<char> copy(100'000);
    PayloadReader failing = of(200'000);
    {
        const Faults faults({.at = 1, .error = EIO, .lasting = true, .among = call::readPieces});
        EXPECT_EQ(failing.next(10), nullptr);
        EXPECT_FALSE(failing.next(copy.data(), 10));
        EXPECT_EQ(failing.left(), 200'000);
    }
    {
        const Faults faults({.at = 1, .error = EINTR, .share = Share::Half, .among = call::readPieces});
        const char* piece = failing.next(70'000);
        ASSERT_NE(piece, nullptr);
        EXPECT_TRUE(std::string(piece, 70'000) == payload(0, 70'000)) << "interrupted, then carried on";
    }

    PayloadReader cut = of(200'000);
    ASSERT_NE(cut.next(10), nullptr);
    ASSERT_EQ(::ftruncate(m_file.get(), start + 100'000), 0);
    EXPECT_NE(cut.next(1'000), nullptr) << "fetched before";
    EXPECT_EQ(cut.next(150'000), nullptr);
    EXPECT_FALSE(cut.next(copy.data(), 100'000));
}

// A step that leaves the payload to the caller goes where the step that loads it goes.
TEST_F(PayloadReaderTest, IsGivenByStepsThatLeaveThePayloadAlone)
{
    writeFile(m_path, chunk(2, "ABC") + chunk(7, "") + chunk(5, "hello"));
    FDChunkReader reader;
    reader.setFD(Descriptor(m_path, O_RDONLY).release());
    reader.rewind();
    EXPECT_EQ(reader.prevPayload(2), nullptr);
    EXPECT_EQ(reader.nextPayload(5), nullptr) << "another type";
    const auto first = reader.nextPayload(2);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->left(), 3);
    EXPECT_EQ(std::string(first->next(3), 3), "ABC");
    EXPECT_EQ(reader.chunkSize(), -1);
    EXPECT_EQ(codeOf([&] { reader.data(); }), "MM_D_NODATA");
    EXPECT_TRUE(reader.nextChunk(7)) << "the position is behind the chunk";

    reader.seekEnd();
    EXPECT_EQ(reader.nextPayload(5), nullptr) << "the end of the file";
    EXPECT_EQ(reader.prevPayload(7), nullptr) << "another type";
    const auto last = reader.prevPayload(5);
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(std::string(last->next(5), 5), "hello");
    EXPECT_TRUE(reader.prevChunk(7)) << "the position is before the chunk";
    reader.seek(1);
    EXPECT_EQ(codeOf([&] { reader.nextPayload(2); }), "CHB_LFD_PARSE");

    const std::string bytes = chunk(2, "ABC");
    writeFile(m_path, bytes.substr(0, 18));
    reader.seekEnd();
    reader.seek(0);
    EXPECT_EQ(reader.nextPayload(2), nullptr) << "cut in the payload";
    writeFile(m_path, withBytes(bytes, 29, wordBigEndian(4)));
    reader.seekEnd();
    EXPECT_NE(reader.prevPayload(2), nullptr) << "the end header is trusted";
    writeFile(m_path, withBytes(bytes, 29, wordBigEndian(20)));
    reader.seekEnd();
    EXPECT_EQ(reader.prevPayload(2), nullptr) << "the payload would begin before the file";
}

} // namespace zd
