#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>

#include <gtest/gtest.h>

#include <csignal>
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
    using Results = std::vector<ssize_t>;
    const TemporaryDirectory directory;
    const QString path = directory.path("file");
    EXPECT_EQ(resultsOfWriting(path, {}), (Results{8, 8, 8, 8}));
    EXPECT_EQ(resultsOfWriting(path, {.at = 5}), (Results{8, 8, 8, 8}));
    EXPECT_EQ(resultsOfWriting(path, {.at = 1, .among = call::reads}), (Results{8, 8, 8, 8}));
    EXPECT_EQ(resultsOfWriting(path, {.at = 2}), (Results{8, -1, 8, 8}));
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(resultsOfWriting(path, {.at = 3, .lasting = true}), (Results{8, 8, -1, -1}));
    EXPECT_EQ(resultsOfWriting(path, {.at = 2, .share = Share::OneByte}), (Results{8, 1, -1, 8}));
    EXPECT_EQ(resultsOfWriting(path, {.at = 1, .share = Share::Half, .lasting = true}), (Results{4, -1, -1, -1}));
    EXPECT_EQ(resultsOfWriting(path, {.at = 1, .error = 0, .share = Share::AllButOne}), (Results{7, 8, 8, 8}));
    EXPECT_EQ(resultsOfWriting(path, {.at = 3, .error = 0, .lasting = true}), (Results{8, 8, 0, 0}));
    EXPECT_EQ(readFile(path), "abcdefghabcdefgh");
    EXPECT_EQ(resultsOfWriting(path, {.at = 1, .share = Share::All}), (Results{-1, 8, 8, 8}));
    EXPECT_EQ(readFile(path).size(), 32U) << "the call took effect";
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

TEST(FaultsTest, AFailedCloseClosesAndTheTableIsRestored)
{
    const TemporaryDirectory directory;
    const int fd = Descriptor(directory.path("file"), O_RDWR | O_CREAT).release();
    const auto before = systemCalls.close;
    EXPECT_EQ((Faults({.at = 1}), systemCalls.close(fd)), -1);
    EXPECT_FALSE(isOpen(fd));
    EXPECT_EQ(systemCalls.close, before);
}

} // namespace zd::test
