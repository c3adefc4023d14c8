#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/tooltest.h>

#include <QDir>

#include <gmock/gmock.h>

namespace zd::tool {
namespace {

using test::Ended;
using testing::HasSubstr;

/// The real program beside a movie m.vqf with everything that a movie can have.
class EverydayTool : public test::ToolTest {
protected:
    EverydayTool() { test::writeFile(directory.path("m.vqf"), test::richMovie()); }

    // The differences of a movie and m.vqf.
    std::string differences(const std::string& movie, int code) const
    {
        test::writeFile(directory.path("other.vqf"), movie);
        const Ended ended = run("vqf diff m.vqf other.vqf");
        EXPECT_EQ(ended.errors, "");
        EXPECT_EQ(ended.code, code) << ended.output;
        return ended.output.substr(ended.output.find('\n') + 1);
    }
};

TEST_F(EverydayTool, TellsWhatDiffers)
{
    const std::string movie = test::richMovie();
    EXPECT_EQ(run("cp m.vqf n.vqf && vqf diff m.vqf n.vqf").output, "m.vqf and n.vqf: identical (3 frames)\n");
    // Frame 1 lies at 48, its samples from 64 on; 7 and 8 follow the fibre centres at 144.
    EXPECT_EQ(differences(test::withBytes(movie, 64 + 10, "\x01\x02"), 1),
              "  frames        1 of 3 differ, first frame 1\n"
              "  first pixel   column 1, row 1 of frame 1: 7966 and 513\n"
              "  pixels        1 of 24 samples differ; largest difference 7453, mean 310.541667\n");
    EXPECT_EQ(differences(test::withBytes(movie, 160 + 8, test::word(1U << 29)), 1),
              "  fibres        1 of 4 differ, first at fibre 1; largest difference 0.5 pixels, mean 0.125 pixels\n");
    EXPECT_EQ(differences(test::withBytes(movie, 224 + 8, test::timeBytes(1'700'000'001, 250'005)), 1),
              "  times         1 of 3 differ, first at frame 1; largest difference 0.25 s, mean 0.0833333333 s\n");
    EXPECT_EQ(differences(test::withBytes(movie, 280 + 2, "\x7F"), 1),
              "  laser powers  1 of 3 differ, first at frame 2; largest difference 0.5, mean 0.166666667\n");
    EXPECT_EQ(
        run("cp m.vqf n.vqf; vqf attr rm n.vqf framedelay; vqf attr set n.vqf 'comment=x\033'; vqf diff m.vqf n.vqf")
            .output,
        "m.vqf and n.vqf: different\n"
        "  attributes    comment: first line\\x07second line and x\\x1b\n"
        "                framedelay: 83 and nothing\n");

    const std::string small = differences(test::smallMovie(), 1);
    EXPECT_THAT(small, HasSubstr("  structure     frames: 3 and 2\n                times: 3 and 2\n"
                                 "                laser powers: 3 and 2\n                fibres: 4 and 0\n"));
    // Another type of samples, chunks of another type, and frames of another length.
    EXPECT_THAT(
        differences(test::MovieBuilder().frameFormat(2, 2, 1, 32).chunk(9, "a").frame("xy").movie(), 1),
        HasSubstr("picture: 4 x 2, 16-bit unsigned and 2 x 2, 32-bit float\n                frames: 3 and 1\n"));
    const std::string json = run("vqf diff m.vqf other.vqf --json").output;
    EXPECT_THAT(json, testing::StartsWith(R"({"schema":"vqf.diff","version":1,"a":"m.vqf",)"));
    EXPECT_THAT(
        json, HasSubstr(R"("pixels":{"compared":0,"differing":0,"first":0,"first_sample":null,"frames_compared":1,)"));
    // Trouble is neither.
    test::writeFile(directory.path("other.vqf"), test::withBytes(movie, 48, "x"));
    for (const char* script :
         {"vqf diff m.vqf none.vqf", "vqf diff m.vqf other.vqf", "vqf diff m.vqf", "vqf diff m.vqf m.vqf > /dev/full"})
        EXPECT_EQ(run(script).code, 2) << script;
}

TEST_F(EverydayTool, CutsAndJoinsByteByByte)
{
    EXPECT_EQ(
        run("vqf -q checksum add m.vqf && vqf cut m.vqf -o a.vqf --frames :2 && vqf cut m.vqf -o b.vqf --time 2s: &&"
            "vqf -q verify a.vqf b.vqf > /dev/null && vqf join a.vqf b.vqf -o c.vqf && cmp m.vqf c.vqf")
            .errors,
        "");
    const std::vector<std::string> frames = test::framesOf(test::richMovie());
    EXPECT_EQ(test::framesOf(file("a.vqf")), (std::vector{frames[0], frames[1]}));
    EXPECT_EQ(test::framesOf(file("b.vqf")), (std::vector{frames[2]}));
    EXPECT_EQ(run("vqf frames b.vqf --format csv").output, "frame,offset,bytes,time,elapsed,laser_power\n"
                                                           "0,0,16,1700000002.999999,0.000000,1\n");
    // A circular movie whose header is big-endian and old: the order of frames and chunks of other types are kept.
    test::MovieBuilder old;
    old.frameFormat(2, 1, 3, 8).attribute("endian", "1").attribute("frame_timer", "1");
    for (const char* number : {"0", "1", "2"})
        old.attribute(std::string("frame_timer_n") + number + "_sec", std::string("10") + number)
            .attribute(std::string("frame_timer_n") + number + "_usec", "5");
    old.frame("bb").chunk(9, "other").frame("aa");
    test::writeFile(directory.path("old.vqf"), old.record(2, 0, 2).movie());
    EXPECT_EQ(run("vqf cut old.vqf -o cut.vqf --frames 1:").errors, "");
    const std::vector<test::WalkedChunk> chunks = test::walkMovie(file("cut.vqf"));
    ASSERT_EQ(chunks.size(), 5U);
    EXPECT_EQ(chunks[0].payload + chunks[1].payload + chunks[2].payload, "aabbother");
    EXPECT_EQ(chunks[3].payload, test::timeBytes(101, 5) + test::timeBytes(102, 5));
    EXPECT_EQ(test::headerText(file("cut.vqf")), "endian=1\nheight=1\npixbits=8\npixtype=3\nwidth=2\n");
}

TEST_F(EverydayTool, SplitsIntoPartsThatJoinAgain)
{
    const std::size_t whole = file("m.vqf").size();
    for (const std::string& length :
         {std::string("--every 2"), std::string("--every 2s"), "--max-size " + std::to_string(whole - 1)}) {
        EXPECT_EQ(run("vqf split m.vqf -o part.vqf " + length +
                      " && vqf join part-1.vqf part-2.vqf -o n.vqf &&"
                      "cmp m.vqf n.vqf && rm part-*.vqf n.vqf")
                      .code,
                  0)
            << length;
        EXPECT_EQ(names(), "m.vqf");
    }
    // All parts or none.
    test::writeFile(directory.path("part-3.vqf"), "in the way");
    EXPECT_EQ(run("vqf split m.vqf --every 1 -o part.vqf").code, 1);
    EXPECT_EQ(run("ulimit -f 0; vqf cut m.vqf -o n.vqf --frames 0").code, 1);
    EXPECT_EQ(names(), "m.vqf part-3.vqf");
}

TEST_F(EverydayTool, RefusesWhatDoesNotFitTogether)
{
    test::writeFile(directory.path("small.vqf"), test::smallMovie());
    test::writeFile(directory.path("damaged.vqf"), test::withBytes(test::richMovie(), 48, "x"));
    test::writeFile(directory.path("bytes.vqf"),
                    test::MovieBuilder().frameFormat(4, 2, 3, 8).frame("12345678").movie());
    const std::string before = names();
    const std::pair<const char*, const char*> refusals[] = {
        {"cut m.vqf --frames 2,0", "ascending order"},
        {"cut m.vqf --frames 3", "has no frame 3"},
        {"cut m.vqf --time 5s:", "lasts 2.999999 s"},
        {"cut damaged.vqf --frames :", "no whole chunk at byte 48"},
        {"join small.vqf bytes.vqf", "has frames of pixtype \"3\", and those of small.vqf have \"5\""},
        {"join m.vqf m.vqf", "begins before m.vqf ends"},
        {"split m.vqf --max-size 300", "needs"},
        {"split bytes.vqf --every 1s", "has no time for every frame"},
    };
    for (const auto& [arguments, problem] : refusals) {
        const Ended ended = run(std::string("vqf ") + arguments + " -o x.vqf");
        EXPECT_EQ(ended.code, 1) << arguments;
        EXPECT_THAT(ended.errors, HasSubstr(problem));
    }
    for (const char* arguments : {"cut m.vqf -o x.vqf", "split m.vqf", "split m.vqf --every 0", "split m.vqf --every x",
                                  "split m.vqf --every -1s", "cut m.vqf -o x.vqf --frames 0 --time 1s:"})
        EXPECT_EQ(run(std::string("vqf ") + arguments).code, 2) << arguments;
    EXPECT_EQ(names(), before);
    // What the second movie has besides is told.
    const Ended ended =
        run("vqf attr rm m.vqf framedelay; vqf cut m.vqf -o a.vqf --frames 0; vqf attr set a.vqf comment=x;"
            "vqf cut m.vqf -o b.vqf --frames 1:; vqf join a.vqf b.vqf -o c.vqf");
    EXPECT_EQ(ended.code, 3);
    EXPECT_EQ(ended.errors, "vqf: b.vqf: left out what differs in the header: comment\n");
}

TEST_F(EverydayTool, ListsMoviesByTheirFields)
{
    QDir(directory.path("")).mkpath(QStringLiteral("deep/er"));
    test::writeFile(directory.path("deep/er/small.vqf"), test::smallMovie());
    test::writeFile(directory.path("dead.vqf"), test::withoutTail(test::smallMovie(), 1));
    test::writeFile(directory.path("not-a-movie.txt"), "");
    Ended ended = run("vqf ls . -r --sort frames");
    EXPECT_EQ(ended.code, 3);
    EXPECT_THAT(ended.errors, HasSubstr("vqf: dead.vqf: "));
    EXPECT_EQ(ended.output,
              " frames width height  type      rate  seconds     size  recorded          name\n"
              "      2     4      2  ushort     4.0      0.3 309 bytes  2023-11-14 22:13  deep/er/small.vqf\n"
              "      3     4      2  ushort     0.7      3.0 946 bytes  2023-11-14 22:13  m.vqf\n");
    EXPECT_EQ(run("rm dead.vqf; vqf ls . -r --sort size --reverse --format csv | cut -d , -f 1,9").output,
              "frames,path\n3,m.vqf\n2,deep/er/small.vqf\n");
    const auto found = [this](const std::string& conditions) {
        return run("vqf ls -r" + conditions + " --format csv | tail -n +2 | cut -d , -f 9").output;
    };
    for (const char* both :
         {"frames>=2", "width=4", "frames!=9", "type~USHORT", "recorded<2024", "attributes.endian=2"})
        EXPECT_EQ(found(std::string(" --where '") + both + "'"), "deep/er/small.vqf\nm.vqf\n") << both;
    for (const char* rich : {"frames>2", "comment~Second", "attributes.plug_gain>1.4", "laser_power.maximum=1",
                             "fibers<=4' --where 'fibers>0", "palette.name=fire", "attributes.framedelay<100"})
        EXPECT_EQ(found(std::string(" --where '") + rich + "'"), "m.vqf\n") << rich;
    for (const char* wrong : {"frames", "frams>2", ">2", "frames>>"})
        EXPECT_EQ(run(std::string("vqf ls --where '") + wrong + "'").code, std::string(wrong) == "frames>>" ? 0 : 2)
            << wrong;

    EXPECT_EQ(run("vqf ls nowhere").code, 1);
    EXPECT_EQ(run("vqf info m.vqf deep/er/small.vqf --field frames").output, "3\n2\n");
    EXPECT_EQ(run("vqf info m.vqf --field comment").output, "first line\\nsecond line\n");
    EXPECT_EQ(run("vqf info m.vqf --field bounding_box; vqf info m.vqf --field attributes.none").output, "0 0 3 1\n\n");
    EXPECT_EQ(run("vqf info m.vqf --field nonsense").code, 2);
}

TEST_F(EverydayTool, FindsDroppedFrames)
{
    test::MovieBuilder movie;
    std::string times;
    for (const int milliseconds : {0, 100, 200, 500, 400, 501, 600, 752}) {
        movie.frame("x");
        times += test::timeBytes(0, 1000 * milliseconds);
    }
    test::writeFile(directory.path("g.vqf"), movie.chunk(7, times).movie());
    Ended ended = run("vqf frames g.vqf --gaps --format csv");
    EXPECT_EQ(ended.output, "frame,time,interval,dropped,runs_back\n"
                            "3,0.500000,0.300000,2,false\n"
                            "4,0.400000,-0.100000,0,true\n"
                            "7,0.752000,0.152000,1,false\n");
    EXPECT_EQ(ended.code, 3);
    EXPECT_EQ(run("vqf frames g.vqf --gaps --frames :3").code, 0);
    EXPECT_EQ(run("vqf frames g.vqf --stats").output, "g.vqf\n"
                                                      "  frames        8\n"
                                                      "  intervals     7, 9.309 frames/s\n"
                                                      "  median        100.000 ms\n"
                                                      "  mean          107.429 ms, deviation 108.443 ms\n"
                                                      "  range         -100.000 to 300.000 ms\n"
                                                      "  dropped       3 frames\n"
                                                      "  runs back     1 times\n");
    EXPECT_EQ(run("vqf import none 2> e; vqf frames g.vqf --stats --frames 0 --format csv").output,
              "frames,intervals,median,mean,deviation,shortest,longest,dropped,runs_back\n1,0,,,,,,0,0\n");
}

TEST_F(EverydayTool, MakesMoviesAnonymous)
{
    const std::string secret = test::MovieBuilder()
                                   .frameFormat(4, 1, 3, 8)
                                   .attribute("operator", "Marie Curie")
                                   .attribute("comment", "born 1867\aLeft lobe of M.C.")
                                   .attribute("mask_level", "Maria")
                                   .attribute("pal_name", "Curie's")
                                   .attribute("framedelay", "40")
                                   .attribute("site", "7")
                                   .frame("abcd")
                                   .frame("efgh")
                                   .chunk(9, "Sklodowska")
                                   .chunk(7, test::timeBytes(1'700'000'000, 5) + test::timeBytes(1'700'000'001, 4))
                                   .movie();
    test::writeFile(directory.path("s.vqf"), secret);
    const std::string removed = "name,value\ncomment,born 1867\\nLeft lobe of M.C.\nmask_level,Maria\n"
                                "operator,Marie Curie\nsite,7\nchunk of type 9,\n";
    EXPECT_EQ(run("vqf anonymize s.vqf --list --format csv").output, removed);
    EXPECT_EQ(run("vqf anonymize s.vqf -o a.vqf --relative-times --format csv").output, removed);
    const std::string bytes = file("a.vqf");
    EXPECT_EQ(test::headerText(bytes),
              "endian=2\nframedelay=40\nheight=1\npal_name=Curie's\npixbits=8\npixtype=3\nwidth=4\n");
    EXPECT_EQ(test::framesOf(bytes), test::framesOf(secret));
    EXPECT_EQ(test::walkMovie(bytes)[2].payload, test::timeBytes(0, 0) + test::timeBytes(0, 999'999));
    EXPECT_EQ(run("vqf anonymize s.vqf -o b.vqf --keep site --remove pal_name && vqf attr get b.vqf site; vqf attr get "
                  "b.vqf pal_name")
                  .code,
              1);

    // What was removed turns up elsewhere: in a value that stays, or in pixels.
    test::writeFile(
        directory.path("p.vqf"),
        test::MovieBuilder().attribute("operator", "Curie, M.").attribute("pal_name", "of Curie, M.").movie());
    test::writeFile(directory.path("q.vqf"), test::MovieBuilder()
                                                 .attribute("operator", "Curie, M.")
                                                 .frame(std::string(2'000'000, ' ') + "Curie, M.")
                                                 .movie());
    const std::string before = names();
    for (const char* movie : {"p.vqf", "q.vqf"}) {
        const Ended ended = run(std::string("vqf anonymize ") + movie + " -o x.vqf");
        EXPECT_EQ(ended.code, 1) << movie;
        EXPECT_THAT(ended.errors, HasSubstr("would still hold \"Curie, M.\", at byte "));
    }
    EXPECT_EQ(run("vqf anonymize p.vqf").code, 2);
    EXPECT_EQ(run("vqf anonymize p.vqf --list --keep nothing").code, 1);
    EXPECT_EQ(names(), before);
}

TEST_F(EverydayTool, FollowsARecordingUntilItIsClosed)
{
    const std::string movie = test::richMovie(); // frames end at 48, 96 and 144
    test::writeFile(directory.path("r.vqf"), movie.substr(0, 60));
    const Ended ended =
        run("vqf follow r.vqf --interval 0.05 --json > out & tail -c +61 m.vqf | head -c 50 > rest;"
            "until grep -q '\"frames\":1,' out; do sleep 0.05; done; cat rest >> r.vqf;"
            "until grep -q '\"frames\":2,' out; do sleep 0.05; done; tail -c +111 m.vqf >> r.vqf; wait $!;"
            "echo $?; tail -n 1 out; vqf follow r.vqf");
    EXPECT_THAT(ended.output, testing::StartsWith("0\n{\"schema\":\"vqf.follow\",\"version\":1,"));
    EXPECT_THAT(ended.output, HasSubstr("\"closed\":true,"));
    EXPECT_THAT(ended.output,
                HasSubstr("\"limit_bytes_left\":" +
                          std::to_string((std::int64_t{1} << 31) - 1 - static_cast<std::int64_t>(movie.size()))));
    EXPECT_THAT(ended.output, testing::EndsWith("r.vqf: closed with 3 frames\n"));
    EXPECT_EQ(run("vqf follow none.vqf").code, 1);
    EXPECT_EQ(run("vqf follow /bin/sh").code, 1);
    EXPECT_EQ(
        run("head -c 100 m.vqf > r.vqf; timeout --preserve-status -s INT 0.5 \"" VQF_PROGRAM "\" follow r.vqf").code,
        130);
}

} // namespace
} // namespace zd::tool
