#include <movietools/frames/frameselection.h>
#include <movietools/job/framevalues.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/attributerules.h>
#include <tests/support/jobproblem.h>
#include <tests/support/moviebytes.h>

#include <gtest/gtest.h>

namespace zd::movietools {
namespace {

using test::TemporaryDirectory;

// The frames that a selection chooses, or why not.
std::string chosenOf(const std::optional<FrameSelection>& selection, unsigned frames, const std::vector<timeval>& times)
{
    if (!selection)
        return "no selection";
    QString problem;
    std::string text;
    for (const unsigned frame : selection->resolve(frames, times, problem))
        text += std::to_string(frame) + " ";
    return text.empty() ? problem.toStdString() : text;
}

// Of ten frames.
std::string chosen(const char* text)
{
    return chosenOf(FrameSelection::parse(QString::fromLatin1(text)), 10, {});
}

TEST(FrameSelection, CountsLikeSlices)
{
    EXPECT_EQ(chosen("3"), "3 ");
    EXPECT_EQ(chosen("-1, 0"), "9 0 ");
    EXPECT_EQ(chosen("7:"), "7 8 9 ");
    EXPECT_EQ(chosen(":-8"), "0 1 ");
    EXPECT_EQ(chosen("1:8:3,1:2"), "1 4 7 1 ");
    EXPECT_EQ(chosen("8:2147483647:2147483647"), "8 ");
    EXPECT_EQ(chosen("-2147483648:2"), "0 1 ");
    EXPECT_EQ(chosen("5:5"), "has none of the frames asked for: it has 10");
    EXPECT_EQ(chosen("0,10"), "has no frame 10: it has 10 frames, counted from 0");
    EXPECT_EQ(chosen("-11"), "has no frame -11: it has 10 frames, counted from 0");
    for (const char* text : {"", "a", "1,", "1:2:3:4", "1:2:0", "1:2:-1", "2147483648", "1.5", "0x1"})
        EXPECT_EQ(chosen(text), "no selection") << text;
}

// Of four frames, of which three have times.
std::string chosenByTime(const char* text)
{
    return chosenOf(FrameSelection::parseTimes(QString::fromLatin1(text)), 4, {{9, 750000}, {10, 0}, {70, 0}});
}

TEST(FrameSelection, CountsTimeFromTheFirstFrame)
{
    EXPECT_EQ(chosenByTime(":"), "0 1 2 ");
    EXPECT_EQ(chosenByTime("0.25s:60.25"), "1 ");
    EXPECT_EQ(chosenByTime("1min:1h,:250000us"), "2 0 ");
    EXPECT_EQ(chosenByTime("-60.25s:251ms, :-1s"), "0 1 0 1 ");
    EXPECT_EQ(chosenByTime("61s:"), "has no frame in the time asked for: it lasts 60.250000 s");
    for (const char* text : {"", "1s", "1s:2s:3s", "1 s:", "1x:", "s:", "1e3:", "1..2:", "99999999h:"})
        EXPECT_EQ(chosenByTime(text), "no selection") << text;
    EXPECT_EQ(chosenOf(FrameSelection::parseTimes(QStringLiteral(":")), 4, {}),
              "has no frame times: its frames can only be chosen by number");
}

TEST(FrameValues, AreReadLineByLine)
{
    const TemporaryDirectory directory;
    const QString path = directory.path("values.txt");
    const auto problem = [&path](const char* text, bool times) {
        test::writeFile(path, text);
        return test::jobProblem(
            [&] { times ? void(readFrameTimes(path, std::nullopt)) : void(readLaserPowers(path)); });
    };
    test::writeFile(path, "# seconds\n1700000000.123456\n\n 1700000000.1234568 \r\n2147483647.999999");
    EXPECT_EQ(readFrameTimes(path, std::nullopt),
              (std::vector<timeval>{{1700000000, 123456}, {1700000000, 123457}, {2147483647, 999999}}));
    test::writeFile(path, "-0.5\n0\n1e-6\n");
    EXPECT_EQ(readFrameTimes(path, timeval{1, 250000}), (std::vector<timeval>{{0, 750000}, {1, 250000}, {1, 250001}}));
    EXPECT_EQ(problem("1\n2\n1.999999\n", true), "line 3 runs back in time");
    for (const char* text : {"2147483648", "-0.000001", "1e300", "-1e18"})
        EXPECT_EQ(problem(text, true), "line 1 is no time from 1970 to 2038") << text;
    for (const char* text : {"x", "nan", "inf", "1 2", "0,5"})
        EXPECT_EQ(problem(text, true), "line 1 is no number") << text;

    test::writeFile(path, "0\n0.25\n1\n-1\n");
    EXPECT_EQ(readLaserPowers(path), (std::vector<float>{0, 0.25F, 1, -1}));
    EXPECT_EQ(problem("0\n#\n1.001\n", false), "line 3 is above 1");
    EXPECT_EQ(problem("# nothing\n", false), "holds no numbers");
    EXPECT_EQ(problem("", true), "holds no numbers");
    EXPECT_THROW(readLaserPowers(directory.path("none")), JobError);
}

TEST(AttributeRules, AcceptOnlyWhatReadsBackAsWritten)
{
    const auto why = [](const char* name, const char* value) {
        return whyNotStorable(QString::fromUtf8(name), QString::fromUtf8(value)).toStdString();
    };
    EXPECT_EQ(why("caf\xc3\xa9 au lait", "x = y"), "");
    EXPECT_EQ(why("", "x"), "has no name");
    EXPECT_EQ(why("a=b", "x"), "has a line break or \"=\" in its name");
    EXPECT_EQ(why("#a", "x"), "begins with \"#\" or a blank");
    EXPECT_EQ(why("\ta", "x"), "begins with \"#\" or a blank");
    EXPECT_EQ(why("a", ""), "has no value");
    EXPECT_EQ(why("a", "x\ny"), "has a line break in its value");
    EXPECT_EQ(why("a", "x "), "has a blank at an end of its value");
    EXPECT_EQ(why("a", "\xe2\x82\xac"), "has characters beyond Latin-1, which movies cannot hold");
    EXPECT_TRUE(describesFrames(QStringLiteral("width")));
    EXPECT_TRUE(describesFrames(QStringLiteral("frame_timer_n3_sec")));
    EXPECT_FALSE(describesFrames(QStringLiteral("data_type")));
}

} // namespace
} // namespace zd::movietools
