#include <tests/reliability/scenarios.h>

#include <common/iofileexception.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/measures.h>

#include <gtest/gtest.h>

#include <QFile>

#include <cstring>
#include <optional>

namespace zd {

namespace {

using namespace test;

bool opensItself(const Step& step)
{
    return step.kind == Step::Kind::Create || step.kind == Step::Kind::Modify || step.kind == Step::Kind::Attributes;
}

/// What a closed writer says: it has no file, or no such frame.
bool isRefusedAs(const std::string& code)
{
    return code == "FDCW_AC_BADFD" || code == "IW_RF_FIND2" || code == "IW_RF_BOUND2";
}

/// One faulty run of a scenario.
class Trial {
public:
    Trial(const Stage& stage, const Scenario& scenario) : m_stage(stage), m_scenario(scenario)
    {
        m_stage.prepare(m_scenario);
    }

    /// Repeats each step that fails; every failure ends one fault and begins the next. Faults that never strike a
    /// step last till the end.
    void insist(const std::vector<Fault>& faults)
    {
        std::size_t next = 0;
        std::optional<Faults> fault;
        const auto begin = [&] {
            fault.reset();
            if (next < faults.size())
                fault.emplace(faults[next++]);
        };
        begin();
        ImageWriter writer;
        for (const Step& step : m_scenario.steps) {
            while (!attempt(writer, step)) {
                struck += fault && fault->struck() ? 1 : 0;
                ASSERT_LE(failures, static_cast<int>(faults.size()));
                begin();
            }
        }
        struck += fault && fault->struck() ? 1 : 0;
    }

    /// Tries each step once, whatever happens, and drops the writer.
    void tryOnce(const Fault& kind)
    {
        Faults fault(kind);
        ImageWriter writer;
        for (const Step& step : m_scenario.steps)
            attempt(writer, step);
        struck = fault.struck() ? 1 : 0;
    }

    int struck = 0;
    int failures = 0;
    std::vector<std::string> recorded; // frames whose operation returned
    std::vector<Step> returned;
    bool replacedInPart = false;
    bool opened = false; // the step that opens returned

private:
    bool attempt(ImageWriter& writer, const Step& step)
    {
        const std::string before = step.kind == Step::Kind::Modify ? m_stage.file() : std::string();
        const bool wasOpen = writer.isOpen();
        try {
            step.run(writer, m_stage.movie());
        } catch (const IOFileException& e) {
            ++failures;
            EXPECT_TRUE(wasOpen || opensItself(step) ? isDescribed(step.kind, e.code().toStdString())
                                                     : isRefusedAs(e.code().toStdString()))
                << e.code().toStdString() << ' ' << e.message().toStdString();
            EXPECT_FALSE(e.message().endsWith(QLatin1String(std::strerror(0)))) << e.code().toStdString();
            replacedInPart = replacedInPart || step.kind == Step::Kind::Replace;
            if (step.kind == Step::Kind::Modify) {
                EXPECT_TRUE(m_stage.file() == before) << "a failed modify changes nothing";
                EXPECT_FALSE(writer.isOpen());
            }
            return false;
        }
        opened = opened || opensItself(step);
        returned.push_back(step);
        if (step.kind == Step::Kind::Frame || step.kind == Step::Kind::Replace)
            recorded.push_back(step.pixels);
        return true;
    }

    const Stage& m_stage;
    const Scenario& m_scenario;
};

std::string described(const Fault& fault)
{
    return "call " + std::to_string(fault.at) + ", error " + std::to_string(fault.error) + ", share " +
           std::to_string(static_cast<int>(fault.share)) + (fault.lasting ? ", lasting" : "");
}

/// Calls that a signal may interrupt. The others do not wait.
constexpr Calls interruptible = call::open | call::transfers | call::truncate | call::allocate | call::sync;

struct Kind {
    Fault fault;
    bool harmless = false; ///< the call is simply carried on
};

std::vector<Kind> allKinds()
{
    std::vector<Kind> kinds{{.fault = {.error = EINTR, .among = interruptible}, .harmless = true}};
    for (const Share share : {Share::OneByte, Share::Half, Share::AllButOne})
        kinds.push_back({.fault = {.error = 0, .share = share, .among = call::transfers}, .harmless = true});
    // A write that moves nothing and says nothing.
    for (const bool lasting : {false, true})
        kinds.push_back({.fault = {.error = 0, .lasting = lasting, .among = call::writes}});
    // Calls that may fail although they took effect. Of the others no system says so.
    constexpr Calls doubtful = call::all & ~(call::open | call::duplicate | call::truncate);
    for (const int error : {ENOSPC, EIO, EDQUOT, EFBIG}) {
        for (const bool lasting : {false, true}) {
            for (const Share share : {Share::Nothing, Share::OneByte, Share::Half, Share::AllButOne, Share::All}) {
                // All errors with whole calls, the shares of transfers with one.
                const bool partial = share != Share::Nothing && share != Share::All;
                const Calls among = partial ? call::transfers : share == Share::All ? doubtful : call::all;
                if (!partial || error == ENOSPC)
                    kinds.push_back({.fault = {.error = error, .share = share, .lasting = lasting, .among = among}});
            }
        }
    }
    return kinds;
}

class SystemFaults : public testing::Test {
protected:
    SystemFaults() : m_descriptors(openDescriptors()) {}
    ~SystemFaults() override { EXPECT_EQ(openDescriptors(), m_descriptors); }

    /// What must hold when a program has carried a scenario through.
    void expectDone(const std::string& done)
    {
        ASSERT_TRUE(m_stage.file() == done);
        EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_stage.movie()));
        ASSERT_TRUE(m_stage.file() == done);
        EXPECT_FALSE(m_stage.leftovers().contains(QStringLiteral("movie.vqf-journal")));
        ASSERT_EQ(openDescriptors(), m_descriptors);
    }

    const Stage m_stage;
    const int m_descriptors;
};

TEST_F(SystemFaults, AFailedOperationCanBeRepeated)
{
    int runs = 0;
    int failures = 0;
    for (const Scenario& scenario : allScenarios()) {
        const std::string done = m_stage.result(scenario);
        for (const Kind& kind : allKinds()) {
            // Without a journal nothing brings back a header that was half written over on a disk that is full for good.
            if (kind.fault.lasting && !scenario.journaled && scenario.steps[0].kind == Step::Kind::Attributes)
                continue;
            Fault fault = kind.fault;
            bool struck = true;
            for (fault.at = 1; struck; ++fault.at) {
                SCOPED_TRACE(testing::Message() << scenario.name << ", " << described(fault));
                Trial trial(m_stage, scenario);
                trial.insist({fault});
                ASSERT_NO_FATAL_FAILURE(expectDone(done));
                struck = trial.struck > 0;
                EXPECT_TRUE(!kind.harmless || trial.failures == 0);
                failures += trial.failures;
                ++runs;
                ASSERT_LT(fault.at, 200);
            }
        }
    }
    figure("runs", runs);
    figure("failed operations, all repeated", failures);
    EXPECT_GT(runs, 700);
    EXPECT_GT(failures, 700);
}

TEST_F(SystemFaults, ARepetitionMayFailToo)
{
    int runs = 0;
    for (const Scenario& scenario : allScenarios()) {
        const std::string done = m_stage.result(scenario);
        Fault first{.error = ENOSPC, .share = Share::Half, .among = call::writes | call::truncate | call::sync};
        bool struck = true;
        for (first.at = 1; struck; ++first.at) {
            Fault second{.error = EIO};
            bool struckTwice = true;
            for (second.at = 1; struckTwice; ++second.at) {
                SCOPED_TRACE(testing::Message()
                             << scenario.name << ", " << described(first) << ", then " << described(second));
                Trial trial(m_stage, scenario);
                trial.insist({first, second});
                ASSERT_NO_FATAL_FAILURE(expectDone(done));
                struck = trial.struck > 0;
                struckTwice = trial.struck > 1;
                ++runs;
                ASSERT_LT(second.at, 200);
            }
        }
    }
    figure("runs", runs);
    EXPECT_GT(runs, 1100);
}

TEST_F(SystemFaults, AStepThatFailsOnceIsLeftOut)
{
    int runs = 0;
    for (const Scenario& scenario : allScenarios()) {
        const std::string done = m_stage.result(scenario);
        for (const Share share : {Share::Nothing, Share::OneByte, Share::Half, Share::AllButOne}) {
            bool struck = true;
            for (int n = 1; struck; ++n, ++runs) {
                const Fault fault{.at = n,
                                  .error = ENOSPC,
                                  .share = share,
                                  .among = share == Share::Nothing ? call::all : call::writes};
                SCOPED_TRACE(testing::Message() << scenario.name << ", " << described(fault));
                Trial trial(m_stage, scenario);
                trial.tryOnce(fault);
                struck = trial.struck > 0;
                if (trial.replacedInPart || (!trial.opened && !scenario.onMovie))
                    continue;
                const std::string left = m_stage.file();
                ImageWriter::undoInterruptedEdit(m_stage.movie());
                ASSERT_TRUE(m_stage.file() == left) << "whole as it is";
                ASSERT_FALSE(m_stage.leftovers().contains(QStringLiteral("movie.vqf-journal")));
                Scenario rest = scenario;
                rest.steps = trial.returned;
                ASSERT_TRUE(left == done || left == m_stage.result(rest));
            }
        }
    }
    figure("runs", runs);
    EXPECT_GT(runs, 500);
}

TEST_F(SystemFaults, NoFrameIsLostWhenNothingWorksAnyMore)
{
    int runs = 0;
    for (const Scenario& scenario : allScenarios()) {
        const std::string done = m_stage.result(scenario);
        for (const int error : {ENOSPC, EIO}) {
            bool struck = true;
            for (int n = 1; struck; ++n) {
                SCOPED_TRACE(testing::Message() << scenario.name << ", call " << n << ", error " << error);
                Trial trial(m_stage, scenario);
                trial.tryOnce({.at = n, .error = error, .share = Share::Half, .lasting = true});
                struck = trial.struck > 0;
                if (scenario.onMovie && !trial.opened && scenario.steps[0].kind == Step::Kind::Modify) {
                    ASSERT_TRUE(m_stage.file() == movieToEdit());
                }
                ImageWriter::undoInterruptedEdit(m_stage.movie());
                m_stage.expectNoFrameLost(scenario, trial.recorded);
                const bool finished = !struck || (QFile::exists(m_stage.movie()) && m_stage.file() == done);
                const bool restored = scenario.onMovie && m_stage.file() == movieToEdit();
                EXPECT_TRUE(finished || restored || !scenario.onMovie || !scenario.journaled);
                ASSERT_FALSE(HasFailure());
                ASSERT_EQ(openDescriptors(), m_descriptors);
                ++runs;
            }
        }
    }
    figure("runs", runs);
    EXPECT_GT(runs, 500);
}

} // namespace

} // namespace zd
