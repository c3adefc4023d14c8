#include <tests/reliability/scenarios.h>

#include <libdataio/recordingremains.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/measures.h>
#include <tests/support/moviewalk.h>
#include <tests/support/powerloss.h>

#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>

#include <algorithm>

#include <sys/xattr.h>

namespace zd {

namespace {

using namespace test;

class Deaths : public testing::Test {
protected:
    Deaths()
    {
        const Descriptor probe(m_stage.movie(), O_RDWR | O_CREAT);
        m_hasExtendedAttributes = fsetxattr(probe.get(), "user.probe", "1", 1, 0) == 0;
    }

    /// What is needed to make a movie of the frames again.
    void expectHeaderKept(const Scenario& scenario) const
    {
        const std::vector<WalkedChunk> chunks = completeChunks(m_stage.file());
        const bool hasFrames = std::any_of(chunks.begin(), chunks.end(), [](auto& chunk) { return chunk.type == 2; });
        if ((!chunks.empty() && chunks.back().type == 5) || !hasFrames)
            return;
        const RecordingRemains remains = RecordingRemains::of(m_stage.movie());
        if (m_hasExtendedAttributes || scenario.logged) {
            EXPECT_TRUE(remains.headerText.contains(QStringLiteral("width=4\n"))) << remains.headerText.toStdString();
        }
        if (!scenario.logged)
            return;
        EXPECT_EQ(remains.headerSource, RecordingRemains::HeaderSource::RecordingLog);
        EXPECT_EQ(remains.fiberCenters.size(), 4U);
        ASSERT_GE(remains.frames.size(), m_stage.recorded(scenario).size());
        for (const auto& [offset, known] : remains.frames) {
            EXPECT_EQ(known.time, (timeval{offset == 0 ? 1 : 2, 0}));
            EXPECT_EQ(known.laserPower, 0.5F);
        }
    }

    /// With a journal, the movie is what it was or what it became.
    void expectOldOrNew(const std::string& done, bool died) const
    {
        const bool undone = ImageWriter::undoInterruptedEdit(m_stage.movie());
        const std::string left = m_stage.file();
        EXPECT_TRUE(left == movieToEdit() || left == done);
        EXPECT_TRUE(died || !undone);
        EXPECT_FALSE(m_stage.leftovers().contains(QStringLiteral("movie.vqf-journal")));
        EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_stage.movie())) << "once is enough";
        EXPECT_EQ(m_stage.file(), left);
    }

    const Stage m_stage;
    bool m_hasExtendedAttributes = false;
};

TEST_F(Deaths, NoFrameAndNoHeaderIsLost)
{
    int deaths = 0;
    for (const Scenario& scenario : allScenarios()) {
        const std::string done = m_stage.result(scenario);
        for (const Share share : {Share::Nothing, Share::OneByte, Share::Half, Share::AllButOne, Share::All}) {
            const bool partial = share != Share::Nothing && share != Share::All;
            bool died = true;
            for (int n = 1; died; ++n) {
                SCOPED_TRACE(testing::Message() << scenario.name << ", call " << n << ", share " << int(share));
                died = m_stage.dies(
                    scenario, {.at = n, .share = share, .among = partial ? call::writes : call::all, .deadly = true});
                deaths += died ? 1 : 0;
                if (!QFile::exists(m_stage.movie()))
                    continue;
                if (scenario.onMovie && scenario.journaled)
                    expectOldOrNew(done, died);
                m_stage.expectNoFrameLost(scenario, m_stage.recorded(scenario));
                expectHeaderKept(scenario);
                EXPECT_TRUE(died || m_stage.file() == done);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
    figure("deaths", deaths);
    EXPECT_GT(deaths, 300);
}

/// A recording that asks for synchronisation after each frame.
TEST_F(Deaths, SynchronisedFramesSurviveAPowerFailure)
{
    const Scenario scenario = recordings()[1];
    m_stage.prepare(scenario);
    const TemporaryDirectory rebuilt;
    PowerLoss power(QFileInfo(m_stage.movie()).absolutePath());
    std::vector<std::size_t> changesAtSync;
    {
        ImageWriter writer;
        for (const Step& step : scenario.steps) {
            step.run(writer, m_stage.movie());
            if (step.kind == Step::Kind::Frame) {
                ASSERT_TRUE(writer.sync());
                changesAtSync.push_back(power.changes());
            }
        }
    }
    power.stop();
    int disks = 0;
    for (std::size_t count = 0; count <= power.changes() + 1; ++count) {
        for (const std::vector<std::size_t>& lost : power.losses(count)) {
            const auto disk = power.disk(count, lost);
            const auto synchronised = std::count_if(changesAtSync.begin(), changesAtSync.end(),
                                                    [count](std::size_t changes) { return changes < count; });
            if (synchronised == 0)
                continue;
            ASSERT_TRUE(disk.contains("movie.vqf"));
            const std::vector<WalkedChunk> chunks = completeChunks(disk.at("movie.vqf"));
            ASSERT_GE(static_cast<std::ptrdiff_t>(chunks.size()), synchronised) << count << " changes";
            EXPECT_EQ(chunks[0].payload, scenario.steps[1].pixels);
            ++disks;
        }
    }
    figure("disks rebuilt", disks);
    EXPECT_GT(disks, 10);
}

} // namespace

} // namespace zd
