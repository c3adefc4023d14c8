#include <tests/reliability/scenarios.h>

#include <tests/support/measures.h>
#include <tests/support/moviewalk.h>
#include <tests/support/toolprocess.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace zd {

namespace {

using namespace test;

/// A recording is killed before, in the middle of and after every call, and put together again by the tool.
TEST(DeadRecordings, ComeBackWithOneCommand)
{
    const Stage stage;
    const TemporaryDirectory folder;
    const QString recovered = folder.path("recovered.vqf");
    const Scenario scenario = recordings()[1]; // with a log, which any file system keeps
    int deaths = 0;
    for (const Share share : {Share::Nothing, Share::OneByte, Share::Half, Share::AllButOne}) {
        const Calls among = share == Share::Nothing ? call::all : call::writes;
        for (int n = 1; stage.dies(scenario, {.at = n, .share = share, .among = among, .deadly = true}); ++n) {
            SCOPED_TRACE(testing::Message() << "call " << n << ", share " << int(share));
            ++deaths;
            const std::vector<std::string> frames = stage.recorded(scenario);
            if (frames.empty())
                continue;
            const Ended ended =
                runScript(folder.path(""), "vqf recover --force -o recovered.vqf '" + stage.movie().toStdString() +
                                               "' && vqf verify recovered.vqf");
            ASSERT_TRUE(ended.code == 0 || ended.code == 3) << ended.output << ended.errors;
            const std::string movie = readFile(recovered);
            walkMovie(movie);
            const std::vector<std::string> found = framesOf(movie);
            ASSERT_GE(found.size(), frames.size());
            EXPECT_TRUE(std::equal(frames.begin(), frames.end(), found.begin()));
            EXPECT_NE(headerText(movie).find("width=4\n"), std::string::npos);
        }
    }
    figure("deaths", deaths);
    EXPECT_GT(deaths, 40);
}

} // namespace

} // namespace zd
