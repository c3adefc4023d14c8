#include <libdataio/fdchunkreader.h>
#include <libdataio/readwindow_p.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <vector>

namespace zd {

namespace {

using namespace test;

constexpr std::size_t small = 2000; // payload of a small chunk, ...
constexpr int stepsToTrust = 3;     // ... and so many of them are stepped over before the next ones are read ahead
constexpr std::size_t frame = 4096;

/// A file of chunks of type 2, and the same as a list.
struct Chunks {
    explicit Chunks(const std::vector<std::size_t>& sizes)
    {
        std::mt19937 random(1);
        for (const std::size_t size : sizes) {
            payloads.emplace_back(size, '\0');
            std::generate(payloads.back().begin(), payloads.back().end(), [&] { return static_cast<char>(random()); });
            starts.push_back(bytes.size());
            bytes += chunk(2, payloads.back());
        }
    }

    std::vector<std::string> payloads;
    std::vector<std::size_t> starts;
    std::string bytes;
};

class ReadWindowTest : public testing::Test {
protected:
    FDChunkReader& on(const std::string& bytes)
    {
        writeFile(m_path, bytes);
        m_reader = std::make_unique<FDChunkReader>();
        m_reader->setFD(Descriptor(m_path, O_RDONLY).release());
        m_reader->setOffsetShared(false);
        m_reader->rewind();
        return *m_reader;
    }

    /// Expects that the next step delivers this payload, at an aligned address.
    void expectNext(const std::string& wanted)
    {
        ASSERT_TRUE(m_reader->nextChunk(2));
        const std::string got(static_cast<const char*>(m_reader->data()),
                              static_cast<std::size_t>(m_reader->chunkSize()));
        EXPECT_TRUE(got == wanted);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(m_reader->data()) % 16, 0U);
    }

    /// Makes a reader that has read ahead: it stands behind the fifth of 20 small chunks.
    void readAhead(const Chunks& chunks)
    {
        on(chunks.bytes);
        for (std::size_t i = 0; i <= stepsToTrust; ++i)
            expectNext(chunks.payloads[i]);
        const Faults faults;
        expectNext(chunks.payloads[stepsToTrust + 1]);
        EXPECT_EQ(faults.calls(), 0) << "it has been read already";
        m_reader->seek(static_cast<unsigned int>(chunks.starts[stepsToTrust + 2]), 0);
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("chunks");
    std::unique_ptr<FDChunkReader> m_reader;
};

} // namespace

TEST_F(ReadWindowTest, SmallChunksInSequenceCostFewCallsAndLittleMemory)
{
    constexpr std::size_t count = 1000;
    const Chunks chunks(std::vector<std::size_t>(count, frame));
    for (const bool expected : {false, true}) {
        on(chunks.bytes);
        const Faults faults;
        const Allocations allocations;
        for (std::size_t i = 0; i < count; ++i) {
            m_reader->seek(static_cast<unsigned int>(chunks.starts[i]), expected ? frame : 0);
            expectNext(chunks.payloads[i]);
            if (i == 3) {
                EXPECT_LT(allocations.largest(), 2 * 4 * (frame + 32)) << "no more than was stepped over";
            }
        }
        // 988 chunks of 4128 bytes are left; the window doubles from 6 chunks to 127 and stays there.
        EXPECT_LE(faults.calls(call::readPieces), 6 + 5 + 8 + 1);
        EXPECT_LE(allocations.largest(), static_cast<std::size_t>(ReadWindow::size));
        EXPECT_FALSE(m_reader->nextChunk(2)) << "the end of the file";
    }
}

// Every order of sizes and movements delivers what the file holds.
TEST_F(ReadWindowTest, ChunksOfAnySizeInAnyOrderAreThemselves)
{
    std::mt19937 random(1);
    const std::size_t edge = static_cast<std::size_t>(ReadWindow::largestChunk) - 32;
    std::vector<std::size_t> sizes;
    for (int i = 0; i < 600; ++i) {
        const std::size_t rare[] = {0, 1, edge - 1, edge, edge + 1, 3 * edge};
        sizes.push_back(random() % 16 == 0 ? rare[random() % 6] : random() % 3 == 0 ? frame : random() % small);
    }
    const Chunks chunks(sizes);
    on(chunks.bytes);
    std::size_t next = 0;
    for (int step = 0; step < 3000; ++step) {
        SCOPED_TRACE(step);
        const unsigned int kind = random() % 64;
        if (kind == 0 && next > 0) {
            ASSERT_TRUE(m_reader->prevChunk(2));
            EXPECT_EQ(m_reader->chunkSize(), static_cast<int>(sizes[--next]));
        } else if (kind == 1 || next == sizes.size()) {
            next = random() % sizes.size();
            m_reader->seek(static_cast<unsigned int>(chunks.starts[next]));
        } else if (kind == 2) {
            EXPECT_FALSE(m_reader->nextChunk(3)) << "another type";
        } else {
            if (kind % 2 == 0)
                m_reader->expectSize(kind % 8 == 0 ? 100 : static_cast<unsigned int>(sizes[next]));
            expectNext(chunks.payloads[next++]);
            if (HasFailure())
                return;
        }
    }
}

TEST_F(ReadWindowTest, OnlyASequenceSeesOldBytes)
{
    const Chunks chunks(std::vector<std::size_t>(20, small));
    const std::size_t at = chunks.starts[stepsToTrust + 2];
    const std::string changed(small, 'n');
    const std::function<void()> movements[] = {
        [&] { expectNext(chunks.payloads[5]); },
        [&] { m_reader->rewind(); },
        [&] { m_reader->seekEnd(); },
        [&] { m_reader->seek(0); },
        [&] { m_reader->seek(static_cast<unsigned int>(at)); }, // where it stands
        [&] { m_reader->nextChunk(3); },                        // it finds nothing, and has looked
        [&] { m_reader->prevChunk(2); },
        [&] { m_reader->closeFD(), m_reader->setFD(Descriptor(m_path, O_RDONLY).release()); },
    };
    for (const auto& movement : movements) {
        readAhead(chunks);
        Descriptor(m_path, O_WRONLY).put(static_cast<off_t>(at), chunk(2, changed));
        movement();
        m_reader->seek(static_cast<unsigned int>(at), 0);
        expectNext(changed);
    }

    // What was no such chunk when it was read ahead becomes one.
    for (const std::string& before : {chunk(9, std::string(small, 'x')), std::string(small + 32, '\0')}) {
        Chunks old = chunks;
        old.bytes.replace(at, small + 32, before);
        readAhead(old);
        Descriptor(m_path, O_WRONLY).put(static_cast<off_t>(at), chunk(2, changed));
        expectNext(changed);
    }

    // A file cut since: what was read then is delivered, the next look finds the end.
    readAhead(chunks);
    Descriptor(m_path, O_WRONLY | O_TRUNC);
    expectNext(chunks.payloads[5]);
    m_reader->rewind();
    EXPECT_FALSE(m_reader->nextChunk(2));

    // A file that grew: the end that was read then is looked at again.
    on(chunks.bytes.substr(0, chunks.starts[7] + 50));
    for (std::size_t i = 0; i < 7; ++i)
        expectNext(chunks.payloads[i]);
    writeFile(m_path, chunks.bytes);
    expectNext(chunks.payloads[7]);
}

TEST_F(ReadWindowTest, DamageAheadIsReportedWhereItLies)
{
    const Chunks chunks(std::vector<std::size_t>(20, small));
    on(withBytes(chunks.bytes, chunks.starts[9] + 2, "?"));
    for (std::size_t i = 0; i < 9; ++i)
        expectNext(chunks.payloads[i]);
    EXPECT_EQ(codeOf([&] { m_reader->nextChunk(2); }), "CHB_LFD_PARSE");
    EXPECT_EQ(m_reader->chunkSize(), -1);
    EXPECT_TRUE(m_reader->prevChunk(2)) << "the position stayed";
}

TEST_F(ReadWindowTest, AFailureToReadAheadHarmsNoStep)
{
    const Chunks chunks(std::vector<std::size_t>(20, small));
    const auto walk = [&] {
        on(chunks.bytes);
        for (const std::string& wanted : chunks.payloads)
            expectNext(wanted);
    };
    for (const Share share : {Share::Nothing, Share::Half}) {
        // Each of the first chunks takes two calls, the seventh reads ahead.
        const Faults faults({.at = 2 * stepsToTrust + 1, .error = EIO, .share = share, .among = call::readPieces});
        walk();
        EXPECT_TRUE(faults.struck());
    }
    const Allocations allocations({.above = 5 * small});
    walk();
    EXPECT_GT(allocations.largest(), 5 * small) << "memory for the window was refused";
}

} // namespace zd
