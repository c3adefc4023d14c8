#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>

#include <gtest/gtest.h>

#include <csignal>
#include <utility>
#include <vector>

namespace zd::test {

namespace {

/// Writes "abcdefgh" four times by single calls, and returns what the calls returned.
std::vector<ssize_t> resultsOfWriting(const QString& path, const Fault& fault)
{
    const Descriptor file(path, O_WRONLY | O_CREAT | O_TRUNC);
    const Faults faults(fault);
    std::vector<ssize_t> results;
    for (int i = 0; i < 4; ++i)
        results.push_back(systemCalls.write(file.get(), "abcdefgh", 8));
    EXPECT_EQ(faults.calls(call::writes), 4);
    EXPECT_EQ(faults.calls(call::all & ~call::writes), 0);
    EXPECT_EQ(faults.struck(), fault.at >= 1 && fault.at <= 4 && (fault.among & call::write) != 0);
    return results;
}

} // namespace

TEST(FaultsTest, StrikesTheCallThatWasAskedFor)
{
    const TemporaryDirectory directory;
    const QString path = directory.path("file");
    const std::pair<Fault, std::vector<ssize_t>> cases[] = {
        {{.at = 5}, {8, 8, 8, 8}},
        {{.at = 1, .among = call::reads}, {8, 8, 8, 8}},
        {{.at = 2}, {8, -1, 8, 8}},
        {{.at = 3, .lasting = true}, {8, 8, -1, -1}},
        {{.at = 2, .share = Share::OneByte}, {8, 1, -1, 8}},
        {{.at = 1, .share = Share::Half, .lasting = true}, {4, -1, -1, -1}},
        {{.at = 1, .error = 0, .share = Share::AllButOne}, {7, 8, 8, 8}},
        {{.at = 3, .error = 0, .lasting = true}, {8, 8, 0, 0}},
        {{.at = 1, .share = Share::All}, {-1, 8, 8, 8}},
    };
    for (const auto& [fault, results] : cases)
        EXPECT_EQ(resultsOfWriting(path, fault), results);
    EXPECT_EQ(readFile(path).size(), 32U) << "the last failed call took effect";

    const int fd = Descriptor(path, O_RDWR).release();
    EXPECT_EQ((Faults({.at = 1}), systemCalls.close(fd)), -1);
    EXPECT_FALSE(isOpen(fd)) << "a failed close closes";
}

TEST(FaultsTest, KillsBeforeInsideAndAfterACall)
{
    const TemporaryDirectory directory;
    const QString path = directory.path("file");
    for (const auto& [share, left] : {std::pair(Share::Nothing, 8U), {Share::Half, 12U}, {Share::All, 16U}}) {
        const Fault fault{.at = 2, .share = share, .deadly = true};
        EXPECT_EXIT(resultsOfWriting(path, fault), testing::KilledBySignal(SIGKILL), "");
        EXPECT_EQ(readFile(path).size(), left);
    }
}

} // namespace zd::test
