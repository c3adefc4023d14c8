#include <libdataio/fdchunkreader.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <type_traits>

#include <sys/stat.h>

// Null but for the address sanitizer.
extern "C" __attribute__((weak)) int __asan_address_is_poisoned(const volatile void* address);

namespace zd {

namespace {

using namespace test;

// Boundaries at 0, 35, 67 and 104.
const std::string threeChunks = chunk(2, "ABC") + chunk(7, "") + chunk(5, "hello");
constexpr off_t beyondReach = off_t{1} << 32;

std::string dataOf(FDChunkReader& reader)
{
    return {static_cast<const char*>(reader.data()), static_cast<std::size_t>(reader.chunkSize())};
}

void expectNoChunk(FDChunkReader& reader)
{
    EXPECT_EQ(reader.chunkSize(), -1);
    EXPECT_EQ(codeOf([&] { reader.data(); }), "MM_D_NODATA");
}

class FDChunkReaderTest : public testing::Test {
protected:
    /// A reader on a file of these bytes, without a position.
    FDChunkReader& on(const std::string& bytes)
    {
        writeFile(m_path, bytes);
        m_reader = std::make_unique<FDChunkReader>();
        m_fd = Descriptor(m_path, O_RDWR).release();
        m_reader->setFD(m_fd);
        return *m_reader;
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("chunks");
    std::unique_ptr<FDChunkReader> m_reader;
    int m_fd = -1;
};

static_assert(!std::is_copy_constructible_v<FDChunkReader> && !std::is_move_constructible_v<FDChunkReader>);
static_assert(!std::is_copy_assignable_v<FDChunkReader> && !std::is_move_assignable_v<FDChunkReader>);

} // namespace

TEST_F(FDChunkReaderTest, HasNoPositionAtFirstAndNoneWithoutADescriptor)
{
    FDChunkReader empty;
    EXPECT_EQ(empty.closeFD(), -1);
    EXPECT_EQ(codeOf([&] { empty.nextChunk(2); }), "CHB_LFD_SEEK");

    FDChunkReader& reader = on(threeChunks);
    const Faults faults;
    EXPECT_FALSE(reader.flag() || reader.nextChunk(2) || reader.prevChunk(2));
    expectNoChunk(reader);
    reader.seek(0xFFFFFFFF);
    EXPECT_FALSE(reader.nextChunk(2) || reader.prevChunk(2));
    EXPECT_EQ(faults.calls(), 0);
    m_reader.reset();
    EXPECT_FALSE(isOpen(m_fd));
}

TEST_F(FDChunkReaderTest, LeavesTheDescriptorBehindTheBytesItLookedAt)
{
    on(threeChunks + startHeader(9, 1000) + "cut");
    FDChunkReader& reader = *m_reader;
    const std::pair<std::function<bool()>, off_t> steps[] = {
        {[&] { return reader.rewind() && reader.nextChunk(2); }, 19},
        {[&] { return reader.prevChunk(2); }, 19},
        {[&] { return !reader.nextChunk(7); }, 16},
        {[&] { return reader.seek(35) && reader.nextChunk(7); }, 51},
        {[&] { return !reader.prevChunk(2); }, 67},
        {[&] { return reader.seek(67), reader.expectSize(5), reader.nextChunk(5); }, 88},
        {[&] { return !reader.nextChunk(9); }, 123}, // the end of the file
        {[&] { return reader.seek(123) && !reader.nextChunk(9); }, 123},
        {[&] { return reader.seek(115) && codeOf([&] { reader.nextChunk(9); }) == "CHB_LDF_READ"; }, 123},
        {[&] { return reader.seek(1) && codeOf([&] { reader.nextChunk(9); }) == "CHB_LFD_PARSE"; }, 17},
        {[&] { return reader.seek(9) && !reader.prevChunk(9); }, 17}, // stays: nothing ends there
        {[&] { return reader.seekEnd(); }, 123},
    };
    for (const auto& [step, offset] : steps) {
        EXPECT_TRUE(step());
        EXPECT_EQ(::lseek(m_fd, 0, SEEK_CUR), offset);
    }
}

TEST_F(FDChunkReaderTest, NoDeclaredSizeCostsMemoryThatTheFileDoesNotHave)
{
    for (const std::uint32_t size : {0x00100000U, 0x7FFFFFFFU, 0x80000000U, 0xF0000000U, 0xFFFFFFE0U, 0xFFFFFFFFU}) {
        FDChunkReader& reader = on(startHeader(2, size) + std::string(18, 'x') + endHeader(2, size));
        const Allocations allocations;
        reader.rewind();
        EXPECT_FALSE(reader.nextChunk(2));
        EXPECT_EQ(reader.chunkSize(), size <= 0x7FFFFFFF ? static_cast<int>(size) : -1);
        EXPECT_EQ(codeOf([&] { reader.data(); }), "MM_D_NODATA");
        EXPECT_FALSE(reader.nextChunk(2));
        reader.seekEnd();
        EXPECT_FALSE(reader.prevChunk(2));
        expectNoChunk(reader);
        EXPECT_LT(allocations.largest(), 10000U) << size;
    }
}

TEST_F(FDChunkReaderTest, PositionsReachTheLastByteBelowFourGibibytes)
{
    FDChunkReader& reader = on("");
    const Descriptor file(m_path, O_WRONLY);
    const std::string last = chunk(5, "last");
    file.put(2147483653, chunk(2, "far"));
    file.put(beyondReach - 1 - static_cast<off_t>(last.size()), last);
    ASSERT_TRUE(reader.seekEnd());
    EXPECT_FALSE(reader.nextChunk(5));
    ASSERT_TRUE(reader.prevChunk(5));
    EXPECT_EQ(dataOf(reader), "last");
    EXPECT_TRUE(reader.seek(2147483653U) && reader.nextChunk(2));
    EXPECT_EQ(dataOf(reader), "far");

    // A payload of 2 GiB exists here, but its length is beyond what can be current.
    file.put(0, startHeader(2, 0x80000000));
    const Allocations allocations;
    reader.rewind();
    EXPECT_FALSE(reader.nextChunk(2));
    expectNoChunk(reader);
    EXPECT_LT(allocations.largest(), 10000U);

    file.put(beyondReach - 1, "x");
    EXPECT_EQ(reportOf([&] { reader.seekEnd(); }), described("MM_SE_SEEK", EOVERFLOW));
    EXPECT_FALSE(reader.prevChunk(5)) << "no position";
}

TEST_F(FDChunkReaderTest, ReportsFailedPositioningAndKeepsOrDropsThePosition)
{
    FDChunkReader& reader = on(threeChunks);
    const auto reportOfUnseekable = [](const auto& operation) {
        const Faults faults({.at = 1, .error = EIO, .lasting = true, .among = call::seek});
        return reportOf(operation);
    };
    reader.seek(35);
    EXPECT_EQ(reportOfUnseekable([&] { reader.rewind(); }), described("MM_R_SEEK", EIO));
    expectNoChunk(reader);
    EXPECT_TRUE(reader.nextChunk(7)) << "the position stayed";
    EXPECT_EQ(reportOfUnseekable([&] { reader.seekEnd(); }), described("MM_SE_SEEK", EIO));
    expectNoChunk(reader);
    EXPECT_FALSE(reader.nextChunk(5)) << "no position";
}

TEST_F(FDChunkReaderTest, AnExpectedSizeSavesCallsAndNeverChangesTheResult)
{
    for (const unsigned int expected : {0U, 1U, 4U, 5U, 6U, 21U, 22U, 1000U, 0xFFFFFFFFU}) {
        FDChunkReader& reader = on(threeChunks);
        const Faults faults;
        const Allocations allocations;
        reader.seek(67);
        reader.expectSize(expected);
        ASSERT_TRUE(reader.nextChunk(5)) << expected;
        EXPECT_EQ(dataOf(reader), "hello");
        EXPECT_EQ(faults.calls(call::readPieces), expected == 5 || expected == 6 || expected == 21 ? 1 : 2) << expected;
        EXPECT_LT(allocations.largest(), 1000U);
    }
}

TEST_F(FDChunkReaderTest, TheBufferGrowsOnlyForALargerPayload)
{
    FDChunkReader& reader = on(chunk(2, std::string(100, 'a')) + chunk(2, "small") + chunk(2, std::string(101, 'd')));
    reader.rewind();
    ASSERT_TRUE(reader.nextChunk(2));
    {
        const Allocations allocations({.above = 100});
        EXPECT_TRUE(reader.nextChunk(2));
        EXPECT_EQ(allocations.count(), 0);
        EXPECT_EQ(dataOf(reader), "small");
        EXPECT_THROW(reader.nextChunk(2), std::bad_alloc);
        reader.expectSize(101);
        EXPECT_THROW(reader.nextChunk(2), std::bad_alloc);
    }
    expectNoChunk(reader);
    EXPECT_TRUE(reader.nextChunk(2)) << "the position stayed";
    EXPECT_EQ(dataOf(reader), std::string(101, 'd'));

    const void* borrowed = reader.data();
    reader.rewind();
    if (__asan_address_is_poisoned != nullptr) {
        EXPECT_NE(__asan_address_is_poisoned(borrowed), 0) << "until the next step";
    }
}

} // namespace zd
