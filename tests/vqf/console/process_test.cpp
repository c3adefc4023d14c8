#include <libdataio/imagewriter.h>
#include <tests/support/moviebytes.h>
#include <tests/support/tooltest.h>

#include <gmock/gmock.h>

#include <csignal>

namespace zd::tool {
namespace {

using test::Ended;
using testing::HasSubstr;
using testing::StartsWith;

using Tool = test::ToolTest;

TEST_F(Tool, EscapesTextFromFiles)
{
    ImageWriter writer;
    writer.create(directory.path("m.vqf"), false);
    writer.setComment(QStringLiteral("\033[2J\u009b1m\nred\u007f\r."));
    writer.close();
    QFile::rename(directory.path("m.vqf"), directory.path("\033m\u202e.vqf"));
    const std::string text = run("vqf info *.vqf && vqf info missing").output;
    EXPECT_THAT(text, StartsWith("\\x1bm\\u202e.vqf\n"));
    EXPECT_THAT(text, HasSubstr("  comment       \\x1b[2J\\x9b1m\n                red\\x7f\\r.\n"));
    const std::string json = run("vqf info --json *.vqf").output;
    EXPECT_THAT(json, HasSubstr(R"("comment":"\u001b[2J\u009b1m\nred\u007f\r.")"));
    EXPECT_THAT(json, HasSubstr(R"("path":"\u001bm\u202e.vqf")"));
    EXPECT_EQ(failure(1, "vqf frames '\033'"),
              "vqf: \\x1b: No such file or directory; check the name and the folder [FR_OF_STAT]\n");
}

TEST_F(Tool, TellsItsVersion)
{
    EXPECT_EQ(run("vqf --version").output, "vqf " VQF_VERSION "\n");
}

TEST_F(Tool, SaysWhatWasLost)
{
    ImageWriter writer;
    writer.create(directory.path("m.vqf"), false);
    writer.width(4);
    writer.height(1);
    writer.pixType(ZD_UCHAR);
    for (int frame = 0; frame < 14; ++frame)
        writer.addFrame("data", frame == 0 ? 4 : 3, -1);
    writer.close();
    const Ended ended = run("vqf export m.vqf -o x.tif");
    EXPECT_EQ(ended.code, 3);
    EXPECT_THAT(ended.output, StartsWith("x.tif: 1 frames of 4 x 1, 8-bit unsigned"));
    EXPECT_THAT(ended.errors, StartsWith("vqf: m.vqf: frame 1 has 3 of its 4 bytes\nvqf: m.vqf: frame 2 has"));
    EXPECT_THAT(ended.errors, HasSubstr("frame 10 has 3 of its 4 bytes\nvqf: m.vqf: and 3 frames more\n"));
}

TEST_F(Tool, LeavesNothingBehindWhenItIsStopped)
{
    // A movie that takes long to export: its index lists one small frame very often.
    constexpr std::uint32_t frames = 400'000;
    std::string index = test::word(frames);
    for (std::uint32_t frame = 0; frame < frames; ++frame)
        index += test::word(2) + test::word(0) + test::word(4);
    test::writeFile(directory.path("m.vqf"),
                    test::chunk(2, "data") + test::chunk(5, index + "width=4\nheight=1\npixtype=3\n"));
    test::writeFile(directory.path("x.tif"), "old");
    const QStringList arguments{QStringLiteral("export"), QStringLiteral("m.vqf"), QStringLiteral("-o"),
                                QStringLiteral("x.tif"), QStringLiteral("--force")};
    const QStringList pictures{QStringLiteral("export"),   QStringLiteral("m.vqf"), QStringLiteral("-o"),
                               QStringLiteral("pictures"), QStringLiteral("--to"),  QStringLiteral("png")};
    const QStringList video{QStringLiteral("export"), QStringLiteral("m.vqf"), QStringLiteral("-o"),
                            QStringLiteral("x.mkv")};
    for (const auto& [job, signal] : {std::pair(arguments, SIGINT), std::pair(arguments, SIGTERM),
                                      std::pair(pictures, SIGINT), std::pair(video, SIGINT)}) {
        const Ended ended = test::runUntilWriting(directory.path(""), job, signal);
        EXPECT_EQ(ended.code, 130);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.errors, "vqf: stopped; no file was written\n");
    }
    EXPECT_EQ(test::runUntilWriting(directory.path(""), arguments, SIGKILL).code, 137);
    EXPECT_EQ(names(), "m.vqf x.tif");
    EXPECT_EQ(file("x.tif"), "old");
}

} // namespace
} // namespace zd::tool
