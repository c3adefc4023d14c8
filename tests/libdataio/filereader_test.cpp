#include <libdataio/filereader.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include <sys/stat.h>

namespace zd {

namespace {

using namespace test;

class FileReaderTest : public testing::Test {
protected:
    std::string reportOfOpening(const QString& path)
    {
        const std::string report = reportOf([&] { m_reader.openFile(path); });
        EXPECT_FALSE(m_reader.openned());
        return report;
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie %1 é 日本.vqf");
    const std::string m_failed = "FR_OF_STAT: File " + m_path.toStdString() + " : ";
    const int m_descriptors = openDescriptors();
    FileReader m_reader;
};

static_assert(!std::is_copy_constructible_v<FileReader> && !std::is_move_constructible_v<FileReader>);
static_assert(!std::is_copy_assignable_v<FileReader> && !std::is_move_assignable_v<FileReader>);

} // namespace

TEST_F(FileReaderTest, ReadsTheChunksOfAFile)
{
    writeFile(m_path, chunk(2, "ABC") + chunk(5, "hello"));
    Descriptor(m_path, O_WRONLY).put(0x80000010, chunk(2, "far"));
    m_reader.openFile(m_path);
    EXPECT_FALSE(m_reader.nextChunk(2)) << "no position yet";
    ASSERT_TRUE(m_reader.openned() && m_reader.rewind() && m_reader.nextChunk(2) && m_reader.seek(35, 5));
    EXPECT_TRUE(m_reader.nextChunk(5));
    EXPECT_EQ(std::string(static_cast<const char*>(m_reader.data()), 5), "hello");
    EXPECT_EQ(m_reader.chunkSize(), 5);
    EXPECT_TRUE(m_reader.seek(static_cast<int>(0x80000010)) && m_reader.nextChunk(2));
    EXPECT_TRUE(m_reader.seekEnd() && m_reader.prevChunk(2));
    EXPECT_TRUE(m_reader.seek(-1));
    EXPECT_FALSE(m_reader.nextChunk(2));
}

TEST_F(FileReaderTest, AnswersWithoutAFileAndAfterClosing)
{
    writeFile(m_path, chunk(2, "ABC"));
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(m_reader.openned() || m_reader.rewind() || m_reader.seekEnd() || m_reader.seek(0, 3));
        EXPECT_FALSE(m_reader.nextChunk(2) || m_reader.prevChunk(2));
        EXPECT_EQ(m_reader.chunkSize(), -1);
        EXPECT_EQ(codeOf([&] { m_reader.data(); }), "MM_D_NODATA");
        m_reader.openFile(m_path);
        m_reader.openFile(m_path);
        EXPECT_EQ(openDescriptors(), m_descriptors + 1);
        m_reader.closeFile();
        EXPECT_EQ(openDescriptors(), m_descriptors);
    }
}

TEST_F(FileReaderTest, OpensOnlyRegularFiles)
{
    EXPECT_EQ(reportOfOpening(m_path), m_failed + std::strerror(ENOENT));
    writeFile(m_path, "movie");
    const QString withNull = m_path + QChar::Null + QStringLiteral("x");
    const QString pipe = m_directory.path("pipe");
    ASSERT_EQ(mkfifo(pipe.toUtf8().constData(), 0600), 0);

    const Faults faults;
    EXPECT_EQ(reportOfOpening(withNull), "FR_OF_STAT: File " + withNull.toStdString() + " : " + std::strerror(EINVAL));
    const std::string irregular = "FR_OF_REGFILE: " + pipe.toStdString() + " is not a regular file.";
    EXPECT_EQ(reportOfOpening(pipe), irregular);
    EXPECT_EQ(codeOf([&] { m_reader.openFile(m_directory.path(".")); }), "FR_OF_REGFILE");
    EXPECT_EQ(faults.calls(call::open), 0);

    // A pipe that takes the place of the file meanwhile does not block.
    systemCalls.stat = [](const char*, struct stat* out) {
        out->st_mode = S_IFREG;
        return 0;
    };
    EXPECT_EQ(reportOfOpening(pipe), irregular);
    EXPECT_EQ(faults.calls(call::open), 1);
    EXPECT_EQ(openDescriptors(), m_descriptors);
}

TEST_F(FileReaderTest, AFailedOpenEndsClosed)
{
    writeFile(m_path, chunk(2, "ABC"));
    for (const auto& [among, code] :
         {std::pair(call::stat, std::string("FR_OF_STAT")), {call::open, "FR_OF_OPEN"}, {call::fstat, "FR_OF_STAT"}}) {
        m_reader.openFile(m_path);
        const Faults faults({.at = 1, .error = EACCES, .lasting = true, .among = among});
        EXPECT_EQ(reportOfOpening(m_path), code + m_failed.substr(10) + std::strerror(EACCES));
        EXPECT_EQ(openDescriptors(), m_descriptors);
    }
    const Faults interrupted({.at = 1, .error = EINTR, .among = call::open});
    m_reader.openFile(m_path);
    EXPECT_TRUE(m_reader.openned());
}

} // namespace zd
