#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <movietools/job/joberror.h>
#include <movietools/recover/recover.h>
#include <movietools/recover/recoverywriter_p.h>
#include <movietools/verify/verify.h>
#include <tests/support/descriptor.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>

#include <gmock/gmock.h>

#include <QFile>

#include <iostream>
#include <map>

// Every way of cutting a movie off and of changing one byte or one number of it, through reader, verification and
// recovery. Prints the figures that it holds them to.
namespace zd::movietools {
namespace {

using test::Region;
using testing::ElementsAre;

class Damage : public testing::Test {
protected:
    ~Damage() override
    {
        test::figure("longest call, milliseconds of the processor", longest.processor() / 1000);
        EXPECT_LT(longest.processor(), 1'000'000);
    }

    // "opens", or the code of what the reader reports.
    std::string open(const std::string& bytes)
    {
        memory.write(bytes);
        try {
            longest.timed([this] { ImageReader(memory.path()); });
            return "opens";
        } catch (const IOFileException& report) {
            return report.code().toStdString();
        }
    }

    Condition conditionOf(const std::string& bytes)
    {
        memory.write(bytes);
        return longest.timed([this] { return verifyMovie(memory.path()).condition; });
    }

    // The recovered movie; nothing when there is nothing to recover.
    std::string recover(const std::string& bytes)
    {
        memory.write(bytes);
        QFile::remove(output);
        RecoverOptions options;
        options.movie = memory.path();
        options.output = output;
        try {
            longest.timed([&] { recoverMovie(options); });
        } catch (const JobError&) {
            return "";
        }
        return test::readFile(output);
    }

    // The same without a disk and without looking at the result.
    std::string recoverInMemory(const std::string& bytes)
    {
        memory.write(bytes);
        longest.timed([this] {
            const FileBytes source(memory.path());
            const RecordingRemains remains;
            const RecoveryPlan plan = planRecovery(RecoverySurvey(source, remains), remains, {});
            writeRecovered(plan, source, written.path(), {});
        });
        return test::readFile(written.path());
    }

    test::TemporaryDirectory directory;
    QString output = directory.path("recovered.vqf");
    test::MemoryFile memory;
    test::MemoryFile written;
    test::LongestCall longest;
};

TEST_F(Damage, EveryPrefixGivesEveryCompleteFrame)
{
    for (const std::string& movie : {test::smallMovie(), test::richMovie()}) {
        const std::vector<std::string> frames = test::framesOf(movie);
        std::map<std::string, int> opened;
        for (std::size_t length = 0; length <= movie.size(); ++length) {
            const std::string prefix = movie.substr(0, length);
            const std::string reading = open(prefix);
            ++opened[reading];
            EXPECT_EQ(conditionOf(prefix), reading == "opens" ? Condition::Sound : Condition::NotReadable) << length;
            const std::string result = recover(prefix);
            EXPECT_TRUE(result.empty() || recoverInMemory(result) == result) << length;
            const std::size_t complete = std::min(length / 48, frames.size());
            EXPECT_EQ(test::framesOf(result), std::vector(frames.begin(), frames.begin() + static_cast<int>(complete)))
                << length;
        }
        for (const auto& [reading, count] : opened)
            std::cout << "reader: " << reading << " for " << count << " prefixes\n";
        // Too short for a header, or cut behind a chunk.
        const int uninformed = 15 + static_cast<int>(test::walkMovie(movie).size());
        const int damaged = static_cast<int>(movie.size()) - uninformed;
        EXPECT_THAT(opened, ElementsAre(std::pair("CHB_LFD_PARSE", damaged), std::pair("IR_MISSINFO", uninformed),
                                        std::pair("opens", 1)));
        EXPECT_EQ(recover(movie), movie);
    }
}

TEST_F(Damage, EveryHostileNumberIsFlaggedAndMended)
{
    const std::string movie = test::smallMovie();
    int mutants = 0;
    for (const test::Field& field : test::fieldsOfSmallMovie()) {
        for (const std::uint32_t value : test::hostileValues) {
            const std::string mutant = test::withField(movie, field, value);
            if (mutant == movie)
                continue;
            ++mutants;
            EXPECT_NE(conditionOf(mutant), Condition::Sound) << field.offset << ": " << value;
            EXPECT_EQ(recoverInMemory(mutant), movie) << field.offset << ": " << value;
        }
    }
    const std::int64_t memoryOfProcess = test::residentMemory("VmHWM");
    test::figure("hostile numbers, all flagged and mended", mutants);
    test::figure("most memory of the process, in KiB", memoryOfProcess / 1024);
    EXPECT_EQ(mutants, 1224);
    EXPECT_TRUE(DATAIO_SANITIZED || memoryOfProcess < 64 << 20);
}

/// What becomes of all changes of one byte in a part of the movie.
struct Figures {
    Region region;
    const char* name;
    int mutants;
    int opened;   // by the reader
    int flagged;  // by the verification
    int restored; // to the sound movie, byte by byte, by the recovery
};

class DamagedByte : public Damage, public testing::WithParamInterface<Figures> {};

TEST_P(DamagedByte, CostsNoFrame)
{
    const std::string movie = test::smallMovie();
    Figures found{GetParam().region, GetParam().name, 0, 0, 0, 0};
    for (std::size_t at = 0; at < movie.size(); ++at) {
        for (int change = 1; change < 256 && test::regionOfSmallMovie(at) == found.region; ++change) {
            std::string mutant = movie;
            mutant[at] = static_cast<char>(mutant[at] ^ change);
            ++found.mutants;
            found.opened += open(mutant) == "opens" ? 1 : 0;
            found.flagged += conditionOf(mutant) != Condition::Sound ? 1 : 0;
            const std::string recovered = recoverInMemory(mutant);
            found.restored += recovered == movie ? 1 : 0;
            // The small movie begins with its frames: pixels and all.
            ASSERT_EQ(recovered.substr(0, 96),
                      found.region == Region::Data ? mutant.substr(0, 96) : movie.substr(0, 96))
                << at << " " << change;
        }
    }
    std::cout << found.name << ": of " << found.mutants << " changed bytes the reader opens " << found.opened
              << ", verification flags " << found.flagged << ", recovery restores " << found.restored << '\n';
    EXPECT_EQ(found.mutants, GetParam().mutants);
    EXPECT_EQ(found.opened, GetParam().opened);
    EXPECT_EQ(found.flagged, GetParam().flagged);
    EXPECT_EQ(found.restored, GetParam().restored);
}

INSTANTIATE_TEST_SUITE_P(AllChanges, DamagedByte,
                         testing::Values(Figures{Region::Headers, "headers", 40800, 32657, 40800, 40800},
                                         Figures{Region::Index, "index", 13260, 11745, 13260, 13260},
                                         Figures{Region::Attributes, "attributes", 11985, 11985, 11983, 7},
                                         Figures{Region::Data, "data", 12750, 12750, 2023, 0}),
                         [](const auto& part) { return std::string(part.param.name); });

} // namespace
} // namespace zd::movietools
