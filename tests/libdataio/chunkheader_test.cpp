#include <libdataio/chunkheader.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include <sys/stat.h>

namespace zd {

namespace {

using namespace test;

const std::string startBytes = hex("0A3C43535441 00000002 00000003 3E0A");
const std::string endBytes = hex("0A3C43454E44 00000002 00000003 3E0A");

std::string bytesOf(const ChunkHeaderBase& header)
{
    std::string bytes(ChunkHeaderBase::encodedSize, '?');
    header.encode(bytes.data());
    return bytes;
}

class ChunkHeader : public testing::Test {
protected:
    std::unique_ptr<Descriptor> fileOf(const std::string& bytes, int flags = O_RDWR)
    {
        writeFile(m_path, bytes);
        return std::make_unique<Descriptor>(m_path, flags);
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("headers");
};

/// Reads the first header in each way, and expects one report from all.
std::string reportOfLoading(const Descriptor& file)
{
    ChunkStartHeader header(71, 72);
    std::size_t arrived = 73;
    const std::string report = reportOf([&] { header.loadFD(file.get(), 0); });
    EXPECT_EQ(reportOf([&] { header.loadFD(file.get(), 0, nullptr, 0, arrived); }), report);
    EXPECT_EQ(bytesOf(header), bytesOf(ChunkStartHeader(71, 72)));
    EXPECT_EQ(arrived, 73U);
    return report;
}

} // namespace

TEST_F(ChunkHeader, WritesTheDescribedBytesWhereTheDescriptorStands)
{
    EXPECT_STREQ(ChunkStartHeader().headerTemplate(), "\n<CSTA        >\n");
    const auto file = fileOf("abc");
    file->seek(2);
    EXPECT_TRUE(ChunkStartHeader(2, 3).writeFD(file->get()));
    EXPECT_TRUE(ChunkEndHeader(2, 3).writeFD(file->get()));
    EXPECT_EQ(file->position(), 34);
    EXPECT_EQ(readFile(m_path), "ab" + startBytes + endBytes);
    EXPECT_EQ(bytesOf(ChunkEndHeader(0xFFFFFFFE, 0x80000001)), hex("0A3C43454E44 FFFFFFFE 80000001 3E0A"));
}

TEST_F(ChunkHeader, ReadsAtTheDescriptorAndAtPositionsOfAnyReach)
{
    const auto file = fileOf(chunk(2, "ABC"));
    ChunkStartHeader start;
    ChunkEndHeader end;
    EXPECT_TRUE(start.loadFD(file->get()));
    EXPECT_EQ(file->position(), 16);
    EXPECT_TRUE(end.loadFD(file->get(), 19));
    EXPECT_EQ(bytesOf(start) + bytesOf(end), startBytes + endBytes);
    EXPECT_EQ(file->position(), 35);
    EXPECT_FALSE(end.loadFD(file->get()) || end.loadFD(file->get(), 1000U));
    EXPECT_EQ(file->position(), 1000);
    const int fd = file->get();
    const short narrow = 19;
    EXPECT_TRUE(end.loadFD(fd, 19L) && end.loadFD(fd, 19LL) && end.loadFD(fd, 19UL) && end.loadFD(fd, 19ULL) &&
                end.loadFD(fd, off_t{19}) && end.loadFD(fd, narrow) && end.loadFD(fd, '\x13') &&
                start.loadFD(fd, false));
    EXPECT_FALSE(end.loadFD(fd, ~std::uint64_t{0})) << "does not fit: as negative";

    const std::string largeNumbers = hex("0A3C43535441 80000000 FFFFFFFF 3E0A");
    for (const std::int64_t far : {(std::int64_t{1} << 31) + 1, (std::int64_t{1} << 32) + 1}) {
        file->put(far, largeNumbers + "QR");
        EXPECT_TRUE(start.loadFD(file->get(), far));
        EXPECT_EQ(bytesOf(start), largeNumbers);
        char behind[3] = {};
        std::size_t arrived = 0;
        ChunkStartHeader again;
        EXPECT_TRUE(again.loadFD(file->get(), far, behind, sizeof behind, arrived));
        EXPECT_EQ(bytesOf(again) + std::string(behind, arrived), largeNumbers + "QR");
        EXPECT_EQ(file->position(), far + 16);
    }

    const Faults faults;
    for (const int position : {-1, std::numeric_limits<int>::min()})
        EXPECT_FALSE(start.loadFD(file->get(), position));
    EXPECT_EQ(faults.calls(), 0) << "a negative position needs no system";
}

TEST_F(ChunkHeader, OnlyTheMarksAreChecked)
{
    const std::string damaged = "CHB_LFD_PARSE: Cannot read chunk header, file may be corrupted.";
    for (std::size_t i = 0; i < startBytes.size(); ++i) {
        const auto file = fileOf(withBytes(startBytes, i, " "));
        const bool mark = i < 6 || i >= 14;
        if (mark)
            EXPECT_EQ(reportOfLoading(*file), damaged) << i;
        else
            EXPECT_TRUE(ChunkStartHeader().loadFD(file->get(), 0)) << i;
    }
    EXPECT_EQ(reportOfLoading(*fileOf(endBytes)), damaged);
    EXPECT_EQ(reportOf([&] { ChunkEndHeader().loadFD(fileOf(startBytes)->get()); }), damaged);
}

TEST_F(ChunkHeader, ReportsWhatStopsAReadingOrAWriting)
{
    for (std::size_t length = 1; length < 16; ++length)
        EXPECT_EQ(reportOfLoading(*fileOf(startBytes.substr(0, length))), described("CHB_LDF_READ", EIO)) << length;
    EXPECT_EQ(reportOfLoading(*fileOf(startBytes, O_WRONLY)), described("CHB_LDF_READ", EBADF));
    ASSERT_EQ(mkfifo(m_directory.path("pipe").toUtf8().constData(), 0600), 0);
    EXPECT_EQ(reportOfLoading(Descriptor(m_directory.path("pipe"), O_RDWR)), described("CHB_LFD_SEEK", ESPIPE));

    const auto reportOfWriting = [](const Descriptor& file) {
        return reportOf([&] { ChunkEndHeader(2, 3).writeFD(file.get()); });
    };
    const std::string full = described("CHB_WFD_WRITE", ENOSPC);
    EXPECT_EQ(reportOfWriting(*fileOf("", O_RDONLY)), described("CHB_WFD_WRITE", EBADF));
    EXPECT_EQ(reportOfWriting(Descriptor(QStringLiteral("/dev/full"), O_WRONLY)), full);
    const auto file = fileOf("");
    const Faults nothingMoves({.at = 1, .error = 0, .lasting = true});
    EXPECT_EQ(reportOfWriting(*file), full);
}

} // namespace zd
