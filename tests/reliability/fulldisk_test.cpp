#include <common/iofileexception.h>
#include <libdataio/imagewriter.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>

#include <gtest/gtest.h>

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

// What the system itself does when there is no more room, without any stand-in.
namespace zd {

namespace {

using namespace test;

constexpr std::size_t frameBytes = 5000;

/// Adds frames until the system takes no more; what is wrong about the report, else nothing.
std::string fill(ImageWriter& writer, std::vector<std::string>& frames, int error)
{
    try {
        for (;;) {
            const std::string pixels(frameBytes, static_cast<char>('a' + frames.size() % 26));
            writer.addFrame(pixels.data(), frameBytes, 0.5F);
            frames.push_back(pixels);
        }
    } catch (const IOFileException& e) {
        const bool described = e.code() == QStringLiteral("FDCW_AC_WRITE") &&
                               e.message().endsWith(QString::fromLocal8Bit(std::strerror(error)));
        return described ? "" : e.message().toStdString();
    }
}

/// Records until there is no room, makes room, closes; then the same with an edit. What is wrong, else nothing.
std::string recordOnFullDisk(const QString& movie, int error, const std::function<void(bool full)>& setFull)
{
    std::vector<std::string> frames;
    for (const bool editing : {false, true}) {
        ImageWriter writer;
        if (editing)
            writer.modify(movie);
        else
            writer.create(movie, true);
        setFull(true);
        const std::size_t before = frames.size();
        if (const std::string wrong = fill(writer, frames, error); !wrong.empty())
            return wrong;
        if (frames.size() < before + 3)
            return "there was no room from the beginning";
        setFull(false);
        writer.close();
        const std::string bytes = readFile(movie);
        walkMovie(bytes);
        if (framesOf(bytes) != frames)
            return "the movie holds other frames";
    }
    return {};
}

TEST(FullDisk, ALimitOfTheFileSize)
{
    const TemporaryDirectory directory;
    const QString movie = directory.path("movie.vqf");
    std::optional<FileSizeLimit> limit;
    EXPECT_EQ(recordOnFullDisk(movie, EFBIG,
                               [&](bool full) {
                                   limit.reset();
                                   if (full)
                                       limit.emplace(readFile(movie).size() + 10 * frameBytes + 99);
                               }),
              "");
}

/// A file system of 512 KiB that only this process sees; false where nobody may make one.
bool mountSmallDisk(const QString& folder)
{
    if (unshare(CLONE_NEWNS) == -1 && unshare(CLONE_NEWUSER | CLONE_NEWNS) == -1)
        return false;
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", folder.toUtf8().constData(), "tmpfs", 0, "size=512k") == 0;
}

std::string recordOnSmallDisk(const TemporaryDirectory& disk)
{
    const QString ballast = disk.path("ballast");
    const auto leaveRoomForTenFrames = [&](bool full) {
        const auto left = std::filesystem::space(disk.path("").toStdString()).available;
        QFile::remove(ballast);
        if (full)
            writeFile(ballast, std::string(left - 10 * frameBytes, 'x'));
    };
    try {
        return recordOnFullDisk(disk.path("movie.vqf"), ENOSPC, leaveRoomForTenFrames);
    } catch (const std::exception& e) {
        return e.what();
    }
}

TEST(FullDisk, ASmallFileSystem)
{
    constexpr int notAllowed = 77;
    const TemporaryDirectory directory;
    const pid_t child = fork();
    if (child == 0) {
        if (!mountSmallDisk(directory.path("")))
            _exit(notAllowed);
        const std::string wrong = recordOnSmallDisk(directory);
        std::fprintf(stderr, "%s", wrong.c_str());
        _exit(wrong.empty() && !HasFailure() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == notAllowed)
        GTEST_SKIP() << "no file system may be mounted here";
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

} // namespace

} // namespace zd
