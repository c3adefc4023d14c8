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
};

TEST_F(EverydayTool, CutsOldMovies)
{
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
    const std::string removed =
        "fate,name,value\nremoved,comment,born 1867\\nLeft lobe of M.C.\nremoved,mask_level,Maria\n"
        "removed,operator,Marie Curie\nremoved,pal_name,Curie's\nremoved,site,7\n"
        "removed,chunk of type 9,\n";
    const std::string kept =
        "kept,endian,2\nkept,framedelay,40\nkept,height,1\nkept,pixbits,8\nkept,pixtype,3\nkept,width,4\n";
    const std::string times = "acquisition times,2023-11-14T22:13:20.000005Z to 2023-11-14T22:13:21.000004Z\n";
    EXPECT_EQ(run("vqf anonymize s.vqf --list --format csv").output, removed + kept + "kept," + times);
    EXPECT_EQ(run("vqf anonymize s.vqf -o a.vqf --times --format csv").output, removed + "shifted," + times + kept);
    const std::string bytes = file("a.vqf");
    EXPECT_EQ(test::headerText(bytes), "endian=2\nframedelay=40\nheight=1\npixbits=8\npixtype=3\nwidth=4\n");
    EXPECT_EQ(test::framesOf(bytes), test::framesOf(secret));
    EXPECT_EQ(test::walkMovie(bytes)[2].payload, test::timeBytes(0, 0) + test::timeBytes(0, 999'999));
    EXPECT_EQ(
        run("vqf anonymize s.vqf -o b.vqf --keep site --remove framedelay && vqf attr get b.vqf site; vqf attr get "
            "b.vqf framedelay")
            .code,
        1);

    // What was removed turns up elsewhere: in a value that stays, or in pixels.
    test::writeFile(directory.path("p.vqf"),
                    test::MovieBuilder().attribute("operator", "Bob").attribute("pal_name", "of Bob").movie());
    test::writeFile(directory.path("q.vqf"), test::MovieBuilder()
                                                 .attribute("operator", "Curie, M.")
                                                 .frame(std::string(2'000'000, ' ') + "Curie, M.")
                                                 .movie());
    const std::string before = names();
    for (const auto& [movie, problem] :
         {std::pair{"p.vqf --keep pal_name", "has \"Bob\", which is removed with operator, in pal_name"},
          {"q.vqf", "would still hold \"Curie, M.\", at byte "}}) {
        const Ended ended = run(std::string("vqf anonymize ") + movie + " -o x.vqf");
        EXPECT_EQ(ended.code, 1) << movie;
        EXPECT_THAT(ended.errors, HasSubstr(problem));
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
