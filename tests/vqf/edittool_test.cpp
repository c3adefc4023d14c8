#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <tests/support/moviebytes.h>
#include <tests/support/tiffstack.h>
#include <tests/support/tooltest.h>

#include <QImage>

#include <gmock/gmock.h>

namespace zd::tool {
namespace {

using test::Ended;
using testing::HasSubstr;

/// A movie m.vqf of three timed frames of 4 x 2 samples of 16 bits, and stacks to change it with.
class EditTool : public test::ToolTest {
protected:
    EditTool()
    {
        for (unsigned frame = 0; frame < 5; ++frame)
            pages.push_back(test::testPixels(16, frame));
        write("a.tif", {pages[0], pages[1], pages[2]});
        write("more.tif", {pages[3], pages[4]});
        write("one.tif", {pages[4]});
        EXPECT_EQ(run("vqf import a.tif -o m.vqf --rate 4 --start 100 --laser-power 0.5").code, 0);
    }

    void write(const char* name, const std::vector<std::string>& frames) const
    {
        test::writeStack(directory.path(name), {.bits = 16}, 4, 2, frames);
    }

    // A script that must fail with this code and leave the movie as it was, with nothing beside it.
    std::string refusal(int code, const std::string& script) const
    {
        const std::string before = file("m.vqf");
        const Ended ended = run(script);
        EXPECT_EQ(ended.code, code) << script << ended.errors;
        EXPECT_EQ(ended.output, "") << script;
        EXPECT_EQ(file("m.vqf"), before) << script;
        EXPECT_FALSE(QFile::exists(directory.path("m.vqf-journal"))) << script;
        return ended.errors;
    }

    // The frames' pixels, in order.
    std::vector<std::string> frames() const
    {
        ImageReader movie(directory.path("m.vqf"));
        std::vector<std::string> all;
        for (const void* data = nullptr; movie.nextFrame(data);)
            all.emplace_back(static_cast<const char*>(data), static_cast<std::size_t>(movie.frameSize()));
        return all;
    }
    std::vector<std::string> pages;
};

TEST_F(EditTool, AppendsReplacesAndOrdersFrames)
{
    EXPECT_EQ(run("vqf append m.vqf more.tif --start 200 --rate 2 --laser-power 1").errors, "");
    EXPECT_EQ(frames(), pages);
    EXPECT_EQ(run("vqf replace m.vqf 1 one.tif --laser-power 0").errors, "");
    pages[1] = pages[4];
    EXPECT_EQ(frames(), pages);
    EXPECT_EQ(run("vqf frames m.vqf --format csv").output, "frame,offset,bytes,time,elapsed,laser_power\n"
                                                           "0,0,16,100.000000,0.000000,0.5\n"
                                                           "1,48,16,100.250000,0.250000,0\n"
                                                           "2,96,16,100.500000,0.500000,0.5\n"
                                                           "3,144,16,200.000000,100.000000,1\n"
                                                           "4,192,16,200.500000,100.500000,1\n");
    EXPECT_EQ(run("vqf order m.vqf --first 1 --circular 3").errors, "");
    EXPECT_EQ(frames(), (std::vector{pages[1], pages[2], pages[0], pages[3], pages[4]}));
    EXPECT_EQ(run("vqf order m.vqf --first 3").errors, "");
    EXPECT_EQ(frames(), (std::vector{pages[3], pages[4], pages[1], pages[2], pages[0]}));
}

TEST_F(EditTool, RefusesWhatDoesNotFitAndLeavesTheMovie)
{
    test::writeStack(directory.path("wide.tif"), {.bits = 16}, 5, 2, {test::testPixels(20, 0)});
    test::writeStack(directory.path("bytes.tif"), {.bits = 8}, 4, 2, {test::testPixels(8, 0)});
    std::string cut = file("more.tif");
    test::writeFile(directory.path("cut.tif"), cut.substr(0, cut.size() - 6));

    EXPECT_THAT(refusal(1, "vqf append m.vqf wide.tif --start 200 --rate 2"), HasSubstr("has frames of 4 x 2"));
    EXPECT_THAT(refusal(1, "vqf replace m.vqf 0 bytes.tif"), HasSubstr("16-bit unsigned, and the pages are"));
    EXPECT_THAT(refusal(1, "vqf append m.vqf more.tif"), HasSubstr("give --times"));
    EXPECT_THAT(refusal(1, "vqf append m.vqf more.tif --start 100 --rate 1"), HasSubstr("keeps its times in order"));
    EXPECT_THAT(refusal(1, "vqf append m.vqf cut.tif --start 200 --rate 1"), HasSubstr("cut.tif"));
    EXPECT_THAT(refusal(1, "vqf replace m.vqf 3 one.tif"), HasSubstr("has no frame 3: there are 3"));
    test::MovieBuilder odd;
    odd.frame(pages[0]).frame(std::string(100'000, 'x')).frameFormat(4, 2, ZD_USHORT, 16);
    test::writeFile(directory.path("odd.vqf"), odd.movie());
    EXPECT_THAT(refusal(1, "vqf replace odd.vqf 1 one.tif"), HasSubstr("frame 1 does not have the length"));
    EXPECT_EQ(file("odd.vqf"), odd.movie());
    EXPECT_THAT(refusal(1, "vqf order m.vqf --first 3"), HasSubstr("has 3 frames"));
    EXPECT_THAT(refusal(1, "vqf order m.vqf --first 1 --circular 3"), HasSubstr("has 3 frames"));
    EXPECT_THAT(refusal(1, "vqf attr set m.vqf width=9"), HasSubstr("--force"));
    EXPECT_THAT(refusal(1, "vqf attr rm m.vqf nothing"), HasSubstr("has no attribute nothing"));
    EXPECT_THAT(refusal(2, "vqf attr set m.vqf plain"), HasSubstr("NAME=VALUE"));
    EXPECT_THAT(refusal(2, "vqf attr set m.vqf 'a= b'"), HasSubstr("blank at an end"));
    EXPECT_THAT(refusal(1, "vqf copy-header none.vqf m.vqf"), HasSubstr("none.vqf"));
    // A full disk in the middle: the frame does not fit under the limit of the file's size.
    EXPECT_EQ(run("vqf import a.tif -o big.vqf").code, 0);
    EXPECT_THAT(refusal(1, "head -c 900 /dev/zero > pad; ulimit -f 0; vqf append m.vqf more.tif --start 200 --rate 2"),
                HasSubstr("m.vqf"));
    // A mistyped name makes no file.
    EXPECT_EQ(run("vqf append typo.vqf more.tif; vqf attr set typo.vqf a=b; vqf order typo.vqf --first 0").code, 1);
    EXPECT_FALSE(QFile::exists(directory.path("typo.vqf")));
}

TEST_F(EditTool, ListsAndChangesAttributes)
{
    EXPECT_EQ(run("vqf attr set m.vqf operator=Curie \"comment=left\nlobe\"").errors, "");
    EXPECT_EQ(run("vqf attr get m.vqf comment operator").output, "left\nlobe\nCurie\n");
    EXPECT_EQ(run("vqf attr list m.vqf").output, "comment=left\\nlobe\nendian=2\nframedelay=250\nheight=2\n"
                                                 "operator=Curie\npixbits=16\npixtype=5\nwidth=4\n");
    EXPECT_THAT(run("vqf attr list m.vqf --json").output,
                HasSubstr("\"attributes\":{\"comment\":\"left\\nlobe\",\"endian\":\"2\""));
    EXPECT_EQ(run("vqf attr export m.vqf -o header.txt && vqf attr rm m.vqf comment operator framedelay").code, 0);
    EXPECT_EQ(run("vqf attr get m.vqf comment").code, 1);
    EXPECT_EQ(run("vqf attr set m.vqf later=1 && vqf attr import m.vqf header.txt --replace").errors, "");
    EXPECT_EQ(run("vqf attr export m.vqf").output, file("header.txt"));

    EXPECT_EQ(run("vqf import one.tif -o other.vqf --attr site=left").code, 0);
    test::writeStack(directory.path("wide.tif"), {.bits = 8}, 5, 2, {test::testPixels(10, 0)});
    EXPECT_EQ(run("vqf import wide.tif -o wide.vqf --attr operator=Joliot && vqf copy-header wide.vqf m.vqf").errors,
              "");
    EXPECT_EQ(run("vqf attr get m.vqf operator width pixtype comment").output, "Joliot\n4\n5\nleft\nlobe\n");
    EXPECT_EQ(frames().size(), 3U);
    EXPECT_EQ(run("vqf copy-header --all wide.vqf m.vqf && vqf attr get m.vqf width").output,
              "m.vqf: has the header of wide.vqf\n5\n");
}

TEST_F(EditTool, DrawsThumbnailsAndListsFibers)
{
    EXPECT_EQ(run("vqf thumb m.vqf -o t.png --size 8x8").output, "t.png: 8 x 4 pixels\n");
    EXPECT_EQ(QImage(directory.path("t.png")).size(), QSize(8, 4));
    EXPECT_EQ(run("vqf thumb m.vqf -o t.png").code, 1); // exists
    EXPECT_EQ(run("vqf thumb m.vqf -o u.png --frame 3").code, 1);
    EXPECT_EQ(run("vqf thumb m.vqf -o u.png --size 0x5").code, 2);
    EXPECT_EQ(run("vqf thumb m.vqf -o u.xyz").code, 2);
    EXPECT_FALSE(QFile::exists(directory.path("u.png")));

    ImageWriter movie;
    movie.create(directory.path("f.vqf"), false);
    movie.width(4);
    movie.height(2);
    movie.addRasterFiberContinuousIndexes({2.5F, 1.0F, 1.0F, 0.0F});
    movie.close();
    EXPECT_EQ(run("vqf fibers f.vqf --sorted").output, "x,y\n1,0\n2.5,1\n");
    EXPECT_EQ(run("vqf fibers f.vqf --form offset").output, "offset\n6\n1\n");
    EXPECT_EQ(run("vqf fibers f.vqf --form world --mode bundle --format json").output,
              "{\"schema\":\"vqf.fibers\",\"version\":1,\"form\":\"world\",\"mode\":\"bundle\",\"movie\":\"f.vqf\","
              "\"sorted\":false,\"fibers\":[\n{\"x\":0.75,\"y\":0.125},\n{\"x\":0.375,\"y\":0.375}\n]}\n");
}

} // namespace
} // namespace zd::tool
