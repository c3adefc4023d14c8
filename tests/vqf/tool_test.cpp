#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <tests/support/moviebytes.h>
#include <tests/support/tiffstack.h>
#include <tests/support/tooltest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>

#include <csignal>

namespace zd::tool {
namespace {

using test::Ended;
using testing::HasSubstr;
using testing::StartsWith;

/// Runs the real program in a directory with a stack of three frames, 4 x 2, 16 bits.
class Tool : public test::ToolTest {
protected:
    Tool()
    {
        for (unsigned frame = 0; frame < 3; ++frame)
            pages.push_back(test::testPixels(16, frame));
        test::writeStack(directory.path("a.tif"), {.bits = 16, .mode = "wb"}, 4, 2, pages);
    }
    std::vector<std::string> pages;
};

TEST_F(Tool, ImportsShowsAndExports)
{
    test::writeFile(directory.path("powers.txt"), "0.5\n-1\n1\n");
    Ended ended = run("vqf import a.tif -o m.vqf --rate 4 --start 2024-03-01T10:00:00Z --laser-powers powers.txt "
                      "--attr operator=Curie --attr 'site=x = y' --comment 'left\nlobe'");
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.output, "m.vqf: 3 frames of 4 x 2, 16-bit unsigned (437 bytes)\n");
    EXPECT_EQ(ended.code, 0);

    EXPECT_EQ(run("vqf info m.vqf").output, "m.vqf\n"
                                            "  frames        3\n"
                                            "  picture       4 x 2, 16-bit unsigned (ZD_USHORT)\n"
                                            "  file          437 bytes\n"
                                            "  recorded      2024-03-01T10:00:00.000000Z\n"
                                            "  duration      0.500 s, 4.00 frames/s\n"
                                            "  frame delay   250\n"
                                            "  laser power   50.0 % to 100.0 % (2 frames of 3)\n"
                                            "  data type     imp\n"
                                            "  comment       left\n"
                                            "                lobe\n"
                                            "  attributes    endian = 2\n"
                                            "                operator = Curie\n"
                                            "                site = x = y\n");
    EXPECT_EQ(run("vqf frames m.vqf").output,
              " frame     offset    bytes  time                            elapsed s   laser\n"
              "     0          0       16  2024-03-01T10:00:00.000000Z      0.000000  50.0 %\n"
              "     1         48       16  2024-03-01T10:00:00.250000Z      0.250000       -\n"
              "     2         96       16  2024-03-01T10:00:00.500000Z      0.500000 100.0 %\n");
    EXPECT_EQ(run("vqf frames m.vqf --format csv").output, "frame,offset,bytes,time,elapsed,laser_power\n"
                                                           "0,0,16,1709287200.000000,0.000000,0.5\n"
                                                           "1,48,16,1709287200.250000,0.250000,\n"
                                                           "2,96,16,1709287200.500000,0.500000,1\n");

    ended = run("vqf export m.vqf -o b.tif --frames 1: && vqf import b.tif -o n.vqf && vqf export n.vqf -o c.tif");
    EXPECT_EQ(ended.code, 0);
    const std::vector<test::StackPage> copies = test::readStack(directory.path("c.tif"));
    ASSERT_EQ(copies.size(), 2U);
    EXPECT_EQ(copies[0].pixels, pages[1]);
    EXPECT_EQ(copies[1].pixels, pages[2]);
    EXPECT_EQ(names(), "a.tif b.tif c.tif m.vqf n.vqf powers.txt");
}

TEST_F(Tool, WritesJsonThatScriptsCanRead)
{
    const Ended ended = run("vqf import a.tif -o m.vqf >&2 && vqf info --json m.vqf m.vqf");
    const QByteArrayList lines = QByteArray::fromStdString(ended.output).split('\n');
    ASSERT_EQ(lines.size(), 3); // the last one is empty
    EXPECT_THAT(lines[0].toStdString(), StartsWith(R"({"schema":"vqf.info","version":1,)"));
    const QJsonObject movie = QJsonDocument::fromJson(lines[1]).object();
    const auto value = [&movie](const char* name) { return movie.value(QLatin1StringView(name)); };
    EXPECT_EQ(value("path"), QStringLiteral("m.vqf"));
    EXPECT_EQ(value("frames"), 3);
    EXPECT_EQ(value("pixel_type"), QStringLiteral("ZD_USHORT"));
    EXPECT_EQ(value("first_time"), QJsonValue());
    EXPECT_EQ(value("attributes").toObject().value(QStringLiteral("height")), QStringLiteral("2"));

    const std::string frames = run("vqf frames --format json m.vqf").output;
    EXPECT_THAT(frames, StartsWith(R"({"schema":"vqf.frames","version":1,"movie":"m.vqf","frames":[)"));
    const QJsonArray rows =
        QJsonDocument::fromJson(QByteArray::fromStdString(frames)).object().value(QStringLiteral("frames")).toArray();
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(QJsonDocument(rows[2].toObject()).toJson(QJsonDocument::Compact).toStdString(),
              R"({"bytes":16,"elapsed":null,"frame":2,"laser_power":null,"offset":96,"time":null})");
}

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

TEST_F(Tool, TellsWrongUsage)
{
    for (const char* arguments :
         {"", "nonsense", "info", "info --nonsense a", "import a.tif", "frames a.vqf --format xml",
          "export a.vqf -o b.tif --frames 1-2", "import a.tif -o m.vqf --rate 0", "import a.tif -o m.vqf --rate inf",
          "import a.tif -o m.vqf --start 2024-01-01", "import a.tif -o m.vqf --rate 1 --start 2039-01-01T00:00:00Z",
          "import a.tif -o m.vqf --laser-power 1.5", "import a.tif -o m.vqf --laser-power 1 --laser-powers f",
          "import a.tif -o m.vqf --attr a", "import a.tif -o m.vqf --attr a=", "import a.tif -o m.vqf --attr width=3",
          "import a.tif -o m.vqf --comment \xe2\x82\xac"})
        EXPECT_THAT(failure(2, std::string("vqf ") + arguments), StartsWith("vqf: ")) << arguments;

    const Ended help = run("vqf --help && vqf import --help && vqf info --help && vqf frames --help && "
                           "vqf export --help");
    EXPECT_EQ(help.code, 0);
    EXPECT_EQ(help.errors, "");
    EXPECT_EQ(run("vqf --version").output, "vqf " VQF_VERSION "\n");
}

TEST_F(Tool, FailsInOneLineAndLeavesNothingBehind)
{
    run("vqf import a.tif -o m.vqf && cp a.tif old && head -c 90 m.vqf > cut.vqf");
    EXPECT_EQ(failure(1, "vqf import a.tif -o old"),
              "vqf: old: exists already; name another output, or add --force to replace it\n");
    EXPECT_EQ(failure(1, "vqf export cut.vqf -o x.tif"),
              "vqf: cut.vqf: Cannot read chunk header, file may be corrupted; it is no VQF movie, or damaged: try "
              "vqf recover [CHB_LFD_PARSE]\n");
    EXPECT_EQ(failure(1, "vqf frames ."), "vqf: .: is not a regular file; name a movie file [FR_OF_REGFILE]\n");
    EXPECT_EQ(failure(1, "vqf info m.vqf > /dev/full"),
              "vqf: standard output: not everything could be written; free some space\n");

    // A limit of one block for files stands for a full disk.
    test::writeStack(directory.path("long.tif"), {.bits = 8}, 100, 100, {std::string(10000, 'a')});
    EXPECT_EQ(failure(1, "ulimit -f 1; vqf import long.tif -o old --force"),
              "vqf: old: Could not write all data: File too large; free some space or write elsewhere "
              "[FDCW_AC_WRITE]\n");
    run("vqf import long.tif -o long.vqf");
    EXPECT_EQ(failure(1, "ulimit -f 1; vqf export long.vqf -o x.tif"),
              "vqf: x.tif: cannot be written: File too large; free some space or write elsewhere\n");
    EXPECT_EQ(file("old"), file("a.tif"));

    const Ended several = run("vqf info missing m.vqf");
    EXPECT_EQ(several.code, 1);
    EXPECT_THAT(several.output, StartsWith("m.vqf\n"));
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
    EXPECT_EQ(names(), "a.tif m.vqf x.tif");
    EXPECT_EQ(file("x.tif"), "old");
}

} // namespace
} // namespace zd::tool
