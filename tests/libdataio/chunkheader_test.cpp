#include <libdataio/chunkheader.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include <sys/stat.h>

namespace zd {

namespace {

using namespace test;

constexpr const char* logger = "dataio.chunkheader";
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

/// Runs every way of reading a header at `position`, and expects one report from all.
Report reportOfLoading(const Descriptor& file, std::int64_t position)
{
    ChunkStartHeader header(71, 72);
    std::size_t arrived = 73;
    const Report report = repeatedReportOf(logger, [&] { header.loadFD(file.get(), position); });
    EXPECT_EQ(repeatedReportOf(logger, [&] { header.loadFD(file.get(), position, nullptr, 0, arrived); }), report);
    if (position == 0 && report.code != "CHB_LFD_SEEK") {
        file.seek(0);
        EXPECT_EQ(reportOf(logger, [&] { header.loadFD(file.get()); }), report);
    }
    EXPECT_EQ(header.type(), 71U);
    EXPECT_EQ(header.size(), 72U);
    EXPECT_EQ(arrived, 73U);
    return report;
}

} // namespace

TEST_F(ChunkHeader, WritesTheDescribedBytesWhereTheDescriptorStands)
{
    EXPECT_STREQ(ChunkStartHeader().headerTemplate(), "\n<CSTA        >\n");
    EXPECT_STREQ(ChunkEndHeader().headerTemplate(), "\n<CEND        >\n");
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
    EXPECT_EQ(std::pair(start.type(), start.size()), std::pair(2U, 3U));
    EXPECT_EQ(std::pair(end.type(), end.size()), std::pair(2U, 3U));
    EXPECT_EQ(file->position(), 35);
    EXPECT_FALSE(end.loadFD(file->get()));
    EXPECT_FALSE(end.loadFD(file->get(), 1000U));
    EXPECT_EQ(file->position(), 1000);
    EXPECT_EQ(end.size(), 3U);

    for (const std::int64_t far : {(std::int64_t{1} << 31) + 1, (std::int64_t{1} << 32) + 1}) {
        file->put(far, hex("0A3C43535441 80000000 FFFFFFFF 3E0A 5152"));
        EXPECT_TRUE(start.loadFD(file->get(), far));
        EXPECT_EQ(std::pair(start.type(), start.size()), std::pair(0x80000000U, 0xFFFFFFFFU));
        char behind[3] = {};
        std::size_t arrived = 0;
        ChunkStartHeader again;
        EXPECT_TRUE(again.loadFD(file->get(), far, behind, sizeof behind, arrived));
        EXPECT_EQ(again.size(), 0xFFFFFFFFU);
        EXPECT_EQ(std::string(behind, arrived), "QR");
        EXPECT_EQ(file->position(), far + 16);
    }
}

TEST_F(ChunkHeader, ANegativePositionNeedsNoSystem)
{
    const Faults faults;
    ChunkStartHeader header;
    std::size_t arrived = 0;
    for (const int position : {-1, -16, std::numeric_limits<int>::min()}) {
        EXPECT_FALSE(header.loadFD(-1, position));
        EXPECT_FALSE(header.loadFD(-1, position, nullptr, 0, arrived));
    }
    EXPECT_EQ(faults.calls(), 0);
}

TEST_F(ChunkHeader, OnlyTheMarksAreChecked)
{
    const Report damaged{"CHB_LFD_PARSE", "Cannot read chunk header, file may be corrupted.", 0};
    for (std::size_t i = 0; i < startBytes.size(); ++i) {
        const auto file = fileOf(withBytes(startBytes, i, " "));
        const bool mark = i < 6 || i >= 14;
        if (mark)
            EXPECT_EQ(reportOfLoading(*file, 0), damaged) << i;
        else
            EXPECT_TRUE(ChunkStartHeader().loadFD(file->get(), 0)) << i;
    }
    EXPECT_EQ(reportOfLoading(*fileOf(endBytes), 0), damaged);
    EXPECT_EQ(reportOf(logger, [&] { ChunkEndHeader().loadFD(fileOf(startBytes)->get()); }), damaged);

    ChunkStartHeader blank;
    EXPECT_TRUE(blank.loadFD(fileOf(blank.headerTemplate())->get()));
    EXPECT_EQ(std::pair(blank.type(), blank.size()), std::pair(0x20202020U, 0x20202020U));
}

TEST_F(ChunkHeader, ReportsWhatStopsAReading)
{
    const char* readPrefix = "Could not read chunk header data: ";
    for (std::size_t length = 1; length < 16; ++length) {
        const Report truncated{"CHB_LDF_READ", withSystemText(readPrefix, EIO), 4};
        EXPECT_EQ(reportOfLoading(*fileOf(startBytes.substr(0, length)), 0), truncated) << length;
    }
    const Report unreadable{"CHB_LDF_READ", withSystemText(readPrefix, EBADF), 4};
    EXPECT_EQ(reportOfLoading(*fileOf(startBytes, O_WRONLY), 0), unreadable);

    ASSERT_EQ(mkfifo(m_directory.path("pipe").toUtf8().constData(), 0600), 0);
    const Descriptor pipe(m_directory.path("pipe"), O_RDWR);
    const Report unseekable{"CHB_LFD_SEEK", withSystemText("Could not seek data: ", ESPIPE), 4};
    EXPECT_EQ(reportOfLoading(pipe, 0), unseekable);
}

TEST_F(ChunkHeader, ReportsWhatStopsAWriting)
{
    const char* prefix = "Could not write chunk start header: ";
    const auto readOnly = fileOf("", O_RDONLY);
    EXPECT_EQ(repeatedReportOf(logger, [&] { ChunkStartHeader(2, 3).writeFD(readOnly->get()); }),
              (Report{"CHB_WFD_WRITE", withSystemText(prefix, EBADF), 4}));
    const Descriptor full(QStringLiteral("/dev/full"), O_WRONLY);
    EXPECT_EQ(repeatedReportOf(logger, [&] { ChunkEndHeader(2, 3).writeFD(full.get()); }),
              (Report{"CHB_WFD_WRITE", withSystemText(prefix, ENOSPC), 4}));
    const auto file = fileOf("");
    const Faults nothingMoves({.at = 1, .error = 0, .lasting = true});
    EXPECT_EQ(repeatedReportOf(logger, [&] { ChunkEndHeader(2, 3).writeFD(file->get()); }),
              (Report{"CHB_WFD_WRITE", withSystemText(prefix, ENOSPC), 4}));
}

TEST_F(ChunkHeader, CarriesInterruptedAndPartialTransfersOn)
{
    std::vector<Fault> faults{{.at = 1, .error = EINTR}};
    for (const Share share : {Share::OneByte, Share::Half, Share::AllButOne}) {
        faults.push_back({.at = 1, .error = EINTR, .share = share});
        faults.push_back({.at = 1, .error = 0, .share = share, .lasting = true});
    }
    for (Fault& fault : faults) {
        fault.among = call::transfers;
        const auto file = fileOf("");
        {
            const Faults active(fault);
            EXPECT_TRUE(ChunkStartHeader(2, 3).writeFD(file->get()));
            EXPECT_TRUE(active.struck());
        }
        EXPECT_EQ(readFile(m_path), startBytes);
        ChunkStartHeader header;
        {
            const Faults active(fault);
            EXPECT_TRUE(header.loadFD(file->get(), 0));
            EXPECT_TRUE(active.struck());
        }
        EXPECT_EQ(bytesOf(header), startBytes);
    }
    const auto file = fileOf(startBytes);
    const Faults broken({.at = 1, .error = EIO, .share = Share::Half, .among = call::transfers});
    EXPECT_EQ(reportOf(logger, [&] { ChunkStartHeader().loadFD(file->get()); }).code, "CHB_LDF_READ");
}

TEST_F(ChunkHeader, AReportNamesTheOperation)
{
    const auto file = fileOf(endBytes);
    const LogCapture silence(0);
    try {
        ChunkStartHeader().loadFD(file->get(), 0);
        FAIL() << "nothing was reported";
    } catch (const BaseException& e) {
        EXPECT_STREQ(e.location().file, "libdataio/chunkheader.cpp");
        EXPECT_STREQ(e.location().function, "bool zd::ChunkHeaderBase::loadFD(int)");
    }
}

} // namespace zd
