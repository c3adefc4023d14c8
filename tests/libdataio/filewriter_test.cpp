#include <libdataio/filereader.h>
#include <libdataio/filewriter.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/printed.h>
#include <tests/support/report.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <type_traits>
#include <utility>

#include <sys/stat.h>

namespace zd {

namespace {

using namespace test;
using testing::MatchesRegex;

const std::pair<FileWriterMode, std::string> bothModes[] = {{FileWriterCreate, "FW_OF_OPEN: File "},
                                                            {FileWriterModify, "FW_OF_OPEN2: File "}};

class FileWriterTest : public testing::Test {
protected:
    std::string reportOfOpening(const QString& path, FileWriterMode mode, bool locked = false)
    {
        const std::string report = reportOf([&] { m_writer.openFile(path, mode, locked); });
        EXPECT_FALSE(m_writer.openned());
        EXPECT_EQ(m_writer.descriptor(), -1);
        return report;
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie %1.vqf");
    FileWriter m_writer;
};

static_assert(!std::is_copy_constructible_v<FileWriter> && !std::is_move_constructible_v<FileWriter>);
static_assert(!std::is_copy_assignable_v<FileWriter> && !std::is_move_assignable_v<FileWriter>);

} // namespace

TEST_F(FileWriterTest, CreatesAndModifies)
{
    for (const int mode : {1, 2, -1}) {
        writeFile(m_path, chunk(2, "ABC") + chunk(5, "hello"));
        m_writer.openFile(m_path, static_cast<FileWriterMode>(mode));
        EXPECT_EQ(m_writer.offset(), 0U);
        EXPECT_EQ(::fcntl(m_writer.descriptor(), F_GETFD), FD_CLOEXEC);
        EXPECT_TRUE(m_writer.nextChunk(2));
        EXPECT_EQ(std::string(static_cast<const char*>(m_writer.data()), 3), "ABC");
        EXPECT_EQ(m_writer.chunkSize(), 3);
        EXPECT_TRUE(m_writer.seekEnd() && m_writer.seekPrev() && m_writer.seekEnd() && m_writer.prevChunk(5));
        m_writer.truncate();
        EXPECT_EQ(m_writer.addChunk(6, "x", 1), 35);
        EXPECT_EQ(readFile(m_path), chunk(2, "ABC") + chunk(6, "x"));
        EXPECT_TRUE(m_writer.seek(0));
    }
    m_writer.openFile(m_path, FileWriterCreate);
    EXPECT_EQ(m_writer.addChunk(2, "ABC", 3), 0);
    for (const int error : {EIO, EINTR}) {
        const Faults faults({.at = 1, .error = error, .among = call::sync});
        EXPECT_EQ(m_writer.sync(), error == EINTR);
    }
    m_writer.closeFile();
    EXPECT_EQ(readFile(m_path), chunk(2, "ABC")) << "closing writes nothing";
}

TEST_F(FileWriterTest, NewFilesBelongToTheirOwnerAlone)
{
    const auto permissions = [&] { return std::filesystem::status(m_path.toStdString()).permissions(); };
    const mode_t mask = ::umask(0);
    for (const FileWriterMode mode : {FileWriterCreate, FileWriterModify}) {
        m_writer.openFile(m_path, mode);
        EXPECT_EQ(permissions(), std::filesystem::perms(0600));
        ::chmod(m_path.toUtf8().constData(), 0644);
        m_writer.openFile(m_path, mode);
        EXPECT_EQ(permissions(), std::filesystem::perms(0644)) << "an existing file keeps its own";
        std::filesystem::remove(m_path.toStdString());
    }
    ::umask(mask);
}

TEST_F(FileWriterTest, ReportsAFileThatCannotBeOpenedAndClosesTheOneBefore)
{
    const int descriptors = openDescriptors();
    for (const auto& [mode, code] : bothModes) {
        for (const auto& [path, error] : {std::pair(m_directory.path("none/%1.vqf"), ENOENT),
                                          {m_directory.path("."), EISDIR},
                                          {m_path + QChar::Null + QStringLiteral("x"), EINVAL}}) {
            writeFile(m_path, "movie");
            m_writer.openFile(m_path, FileWriterModify);
            EXPECT_EQ(reportOfOpening(path, mode), code + path.toStdString() + " : " + std::strerror(error));
            EXPECT_EQ(openDescriptors(), descriptors);
            EXPECT_EQ(readFile(m_path), "movie");
        }
    }
    {
        FileWriter scoped;
        scoped.openFile(m_path, FileWriterModify);
        scoped.openFile(m_path, FileWriterModify);
        EXPECT_EQ(openDescriptors(), descriptors + 1);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

TEST_F(FileWriterTest, ALockKeepsOutThoseWhoAskForOne)
{
    FileWriter owner;
    owner.openFile(m_path, FileWriterCreate, true);
    owner.addChunk(2, "ABC", 3);
    const int descriptors = openDescriptors();
    for (const auto& [mode, code] : bothModes)
        EXPECT_EQ(reportOfOpening(m_path, mode, true), code + m_path.toStdString() + " : " + std::strerror(EBUSY));
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(readFile(m_path), chunk(2, "ABC"));
    m_writer.openFile(m_path, FileWriterModify);
    owner.closeFile();
    const Faults interrupted({.at = 1, .error = EINTR, .among = call::lock});
    m_writer.openFile(m_path, FileWriterCreate, true);
    EXPECT_EQ(readFile(m_path), "");
}

TEST_F(FileWriterTest, AnswersWithoutAFile)
{
    EXPECT_FALSE(m_writer.openned());
    EXPECT_FALSE(m_writer.nextChunk(2) || m_writer.prevChunk(2));
    EXPECT_FALSE(m_writer.seek(0) || m_writer.seekEnd() || m_writer.seekPrev() || m_writer.sync());
    EXPECT_EQ(m_writer.data(), nullptr);
    EXPECT_EQ(m_writer.chunkSize(), 0);
    EXPECT_EQ(m_writer.offset(), 0U);
    for (const std::function<void()>& operation : {std::function<void()>([&] { m_writer.addChunk(2, "ABC", 3); }),
                                                   {[&] { m_writer.truncate(); }},
                                                   {[&] { m_writer.reserve(1); }},
                                                   {[&] { m_writer.requireChunk(0, 2, 3); }}})
        EXPECT_EQ(codeOf(operation), "FDCW_AC_BADFD");
}

TEST_F(FileWriterTest, PrintsItsState)
{
    const auto printed = [&] { return standardOutputOf([&] { m_writer.dumpDebug(); }); };
    EXPECT_EQ(printed(), "writer = (nil)\nfd = 4294967295\n");
    m_writer.openFile(m_path, FileWriterCreate);
    const std::string fd = std::to_string(m_writer.descriptor());
    m_writer.addChunk(2, "0123456789", 10);
    EXPECT_THAT(printed(), MatchesRegex("------------------ FDChunkWriter 0x[0-9a-f]+\nsize = 0\noffset = 42\nfd = " +
                                        fd + "fd = " + fd + "\n"));
    m_writer.closeFile();
    EXPECT_EQ(printed(), "writer = (nil)\nfd = " + fd + "\n") << "the result of the last open call";
}

TEST_F(FileWriterTest, AClosedStandardStreamIsNeverTheMovie)
{
    const auto recordWithoutStreams = [&](int first) {
        for (int stream = first; stream <= STDERR_FILENO; ++stream)
            ::close(stream);
        const int descriptors = openDescriptors();
        m_writer.openFile(m_path, FileWriterCreate);
        m_writer.addChunk(2, "ABC", 3);
        FileReader reader;
        reader.openFile(m_path);
        const bool apart = !isOpen(first) && !isOpen(STDERR_FILENO) && openDescriptors() == descriptors + 2;
        const bool inherited = (::fcntl(m_writer.descriptor(), F_GETFD) & FD_CLOEXEC) == 0;
        std::_Exit(apart && !inherited ? 0 : 1);
    };
    for (int first = STDIN_FILENO; first <= STDERR_FILENO; ++first) {
        EXPECT_EXIT(recordWithoutStreams(first), testing::ExitedWithCode(0), "");
        EXPECT_EQ(readFile(m_path), chunk(2, "ABC"));
    }

    const auto failToMoveAway = [&] {
        ::close(STDIN_FILENO);
        const int descriptors = openDescriptors();
        const Faults faults({.at = 1, .error = EMFILE, .among = call::duplicate});
        const bool reported = codeOf([&] { m_writer.openFile(m_path, FileWriterModify); }) == "FW_OF_OPEN2";
        std::_Exit(reported && openDescriptors() == descriptors ? 0 : 1);
    };
    EXPECT_EXIT(failToMoveAway(), testing::ExitedWithCode(0), "");
}

} // namespace zd
