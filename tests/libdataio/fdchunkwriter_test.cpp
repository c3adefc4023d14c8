#include <libdataio/fdchunkwriter.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include <sys/stat.h>

namespace zd {

namespace {

using namespace test;

constexpr std::uint32_t largestPosition = 0xFFFFFFFF;

// Boundaries at 0, 35, 67 and 104.
const std::string threeChunks = chunk(2, "ABC") + chunk(7, "") + chunk(5, "hello");

int add(FDChunkWriter& writer, unsigned int type, const std::string& payload)
{
    return writer.addChunk(type, payload.data(), static_cast<unsigned int>(payload.size()));
}

/// What a step leaves: the payload last read and the position.
using State = std::pair<std::string, unsigned int>;

State stateOf(const FDChunkWriter& writer)
{
    return {std::string(static_cast<const char*>(writer.data()), static_cast<std::size_t>(writer.chunkSize())),
            writer.offset()};
}

class FDChunkWriterTest : public testing::Test {
protected:
    FDChunkWriter& on(const std::string& bytes, int flags = O_RDWR)
    {
        writeFile(m_path, bytes);
        return onPath(m_path, flags);
    }

    FDChunkWriter& onPath(const QString& path, int flags)
    {
        m_writer = std::make_unique<FDChunkWriter>();
        m_fd = Descriptor(path, flags).release();
        m_writer->setFD(m_fd);
        return *m_writer;
    }

    FDChunkWriter& onPipe()
    {
        ::mkfifo(m_directory.path("pipe").toUtf8().constData(), 0600);
        return onPath(m_directory.path("pipe"), O_RDWR);
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("chunks");
    std::unique_ptr<FDChunkWriter> m_writer;
    int m_fd = -1;
};

static_assert(!std::is_copy_constructible_v<FDChunkWriter> && !std::is_move_constructible_v<FDChunkWriter>);
static_assert(!std::is_copy_assignable_v<FDChunkWriter> && !std::is_move_assignable_v<FDChunkWriter>);

} // namespace

TEST_F(FDChunkWriterTest, AppendsAChunkWithOneCallAndWithoutMemory)
{
    FDChunkWriter& writer = on("");
    {
        const Allocations allocations;
        EXPECT_EQ(add(writer, 2, "0123456789"), 0);
        EXPECT_EQ(allocations.count(), 0);
        writer.setOffsetShared(false);
        const Faults faults;
        EXPECT_EQ(writer.addChunk(0x80000001, nullptr, 0), 42);
        EXPECT_EQ(faults.calls(), 1);
    }
    EXPECT_EQ(readFile(m_path), chunk(2, "0123456789") + chunk(0x80000001, ""));
    EXPECT_TRUE(writer.data() == nullptr && writer.chunkSize() == 0);
}

TEST_F(FDChunkWriterTest, ReportsWhatCannotBeWritten)
{
    EXPECT_EQ(codeOf([] { FDChunkWriter().addChunk(2, "x", 1); }), "FDCW_AC_BADFD");
    EXPECT_EQ(codeOf([this] { add(onPipe(), 2, "x"); }), "FDCW_AC_SEEK");
    EXPECT_EQ(reportOf([this] { on("").addChunk(2, nullptr, 3); }), described("FDCW_AC_WRITE", EFAULT));
    EXPECT_EQ(reportOf([this] { on(threeChunks, O_RDONLY).truncateFile(); }), described("FDCW_TRUNC", EINVAL));
}

TEST_F(FDChunkWriterTest, LeavesTheDescriptorBehindTheBytesItMoved)
{
    const auto at = [this] { return static_cast<int>(::lseek(m_fd, 0, SEEK_CUR)); };
    FDChunkWriter& writer = on(threeChunks);
    const std::pair<std::function<void()>, int> steps[] = {
        {[&] { writer.nextChunk(2); }, 19},
        {[&] { writer.nextChunk(9); }, 35},
        {[&] { writer.seekEnd(); }, 104},
        {[&] { writer.prevChunk(5); }, 88},
        {[&] { writer.prevChunk(9); }, 67},
        {[&] { writer.seekPrev(); }, 67},
        {[&] { add(writer, 9, ""); }, 67},
        {[&] { writer.seekEnd(), add(writer, 9, "xyz"); }, 139},
        {[&] { writer.seek(200), writer.nextChunk(5); }, 200},
    };
    for (const auto& [step, offset] : steps) {
        step();
        EXPECT_EQ(at(), offset);
    }
    const FileSizeLimit limit(139 + 20);
    writer.seekEnd();
    EXPECT_EQ(codeOf([&] { add(writer, 5, "hello"); }), "FDCW_AC_WRITE");
    EXPECT_EQ(at(), 159) << "what could be written";
}

// A chunk that no longer fits, for every number of bytes that still do.
TEST_F(FDChunkWriterTest, AChunkThatDoesNotFitIsReportedByThePartThatWasCut)
{
    const std::string whole = chunk(5, "hello");
    for (std::size_t room = 0; room < whole.size(); ++room) {
        FDChunkWriter& writer = on(threeChunks);
        writer.seekEnd();
        const bool payload = room >= 16 && room < 21;
        {
            const FileSizeLimit limit(threeChunks.size() + room);
            EXPECT_EQ(reportOf([&] { add(writer, 5, "hello"); }),
                      described(payload ? "FDCW_AC_WRITE" : "CHB_WFD_WRITE", EFBIG))
                << room;
        }
        EXPECT_EQ(readFile(m_path), threeChunks + whole.substr(0, room));
        EXPECT_EQ(writer.offset(), 104U);
        EXPECT_EQ(add(writer, 5, "hello"), 104) << "a second attempt overwrites the partial chunk";
        EXPECT_EQ(readFile(m_path), threeChunks + whole);
    }
}

TEST_F(FDChunkWriterTest, NoChunkReachesBeyondTheLargestPosition)
{
    FDChunkWriter& writer = on("");
    const unsigned int last = largestPosition - 37;
    EXPECT_TRUE(writer.seek(last + 1));
    const std::string tooLarge = described("FDCW_AC_WRITE", EFBIG);
    EXPECT_EQ(reportOf([&] { add(writer, 5, "hello"); }), tooLarge);
    EXPECT_EQ(reportOf([&] { writer.addChunk(5, nullptr, largestPosition); }), tooLarge);
    EXPECT_EQ(readFile(m_path), "") << "nothing was written";

    EXPECT_TRUE(writer.seek(last));
    EXPECT_EQ(static_cast<unsigned int>(add(writer, 5, "hello")), last);
    EXPECT_EQ(writer.offset(), largestPosition);
    EXPECT_TRUE(writer.seek(0) && writer.seekEnd() && writer.prevChunk(5));
    EXPECT_EQ(stateOf(writer), (State{"hello", last}));

    // An embedded tail must not be taken for the end of a file that is longer than positions reach.
    EXPECT_TRUE(writer.seek(77));
    ASSERT_EQ(::ftruncate(m_fd, (off_t{1} << 32) + 309), 0);
    EXPECT_FALSE(writer.seekEnd());
    EXPECT_EQ(writer.offset(), 77U);
}

TEST_F(FDChunkWriterTest, AShortPayloadIsFilledUpWithZeros)
{
    FDChunkWriter& writer = on(chunk(2, std::string(5000, 'Q')) + startHeader(2, 4000) + "abc");
    ASSERT_TRUE(writer.nextChunk(2) && writer.nextChunk(2));
    EXPECT_EQ(stateOf(writer), (State{"abc" + std::string(3997, '\0'), 9064}));
}

TEST_F(FDChunkWriterTest, ASizeFarBeyondTheFileIsNotBelieved)
{
    constexpr std::uint32_t believed = 64U << 20;
    for (const std::uint32_t size : {believed + 1, 0x7FFFFFFFU, 0xF0000000U, 0xFFFFFFDFU}) {
        FDChunkWriter& writer = on(startHeader(2, size));
        const Allocations allocations;
        EXPECT_EQ(reportOf([&] { writer.nextChunk(2); }), described("FDCW_NC_READ", ENOMEM));
        EXPECT_EQ(stateOf(writer), (State{"", 0}));
        EXPECT_LT(allocations.largest(), 10000U);
    }
    for (const std::uint32_t size : {0xFFFFFFE0U, 0xFFFFFFFFU})
        EXPECT_EQ(reportOf([&] { on(startHeader(2, size)).nextChunk(2); }), described("FDCW_NC_READ", EFBIG));
    EXPECT_TRUE(on(startHeader(2, believed)).nextChunk(2));
    EXPECT_EQ(m_writer->offset(), believed + 32);

    FDChunkWriter& writer = on(chunk(2, "small") + chunk(2, std::string(2000, 'd')));
    ASSERT_TRUE(writer.nextChunk(2));
    const Allocations allocations({.above = 1999});
    EXPECT_EQ(codeOf([&] { writer.nextChunk(2); }), "FDCW_NC_READ");
    EXPECT_EQ(stateOf(writer), (State{"small", 37}));
    writer.seekEnd();
    EXPECT_EQ(codeOf([&] { writer.prevChunk(2); }), "FDCW_PC_READ");
}

TEST_F(FDChunkWriterTest, ReportsWhatStopsAStep)
{
    struct Case {
        bool forwards;
        unsigned int type;
        Calls among;
        int at;
        const char* code;
    };
    for (const Case& step : {Case{true, 9, call::seek, 2, "FDCW_NC_SEEK"},
                             {true, 5, call::read, 2, "FDCW_NC_READ"},
                             {true, 5, call::fstat, 1, "FDCW_NC_READ"},
                             {false, 9, call::seek, 2, "FDCW_PC_SEEK1"},
                             {false, 5, call::seek, 2, "FDCW_PC_SEEK2"},
                             {false, 5, call::read, 2, "FDCW_PC_READ"}}) {
        FDChunkWriter& writer = on(threeChunks);
        const unsigned int position = step.forwards ? 67 : 104;
        writer.seek(position);
        const auto run = [&] {
            const Faults faults({.at = step.at, .error = EIO, .among = step.among});
            step.forwards ? writer.nextChunk(step.type) : writer.prevChunk(step.type);
        };
        EXPECT_EQ(reportOf(run), described(step.code, EIO));
        EXPECT_EQ(writer.offset(), position);
        EXPECT_TRUE(step.forwards ? writer.nextChunk(5) : writer.prevChunk(5)) << "repeated";
        EXPECT_EQ(stateOf(writer).first, "hello");
    }

    for (const std::uint32_t size : {5U, 0xFFFFFFFFU}) {
        FDChunkWriter& writer = on("four" + endHeader(5, size));
        writer.seekEnd();
        EXPECT_EQ(reportOf([&] { writer.prevChunk(5); }), described("FDCW_PC_SEEK2", EINVAL)) << "before the file";
        EXPECT_FALSE(writer.seekPrev());
        EXPECT_EQ(writer.offset(), 20U);
    }
    EXPECT_FALSE(on("four" + endHeader(5, 4)).seekPrev() || (m_writer->seekEnd() && m_writer->prevChunk(5)))
        << "no room for a header before the payload";

    FDChunkWriter& writer = on(withBytes(threeChunks, 34, "x"));
    EXPECT_TRUE(writer.nextChunk(2)) << "the end header is not looked at";
    EXPECT_EQ(codeOf([&] { writer.prevChunk(2); }), "CHB_LFD_PARSE");
    EXPECT_EQ(codeOf([&] { writer.seekPrev(); }), "CHB_LFD_PARSE");
}

} // namespace zd
