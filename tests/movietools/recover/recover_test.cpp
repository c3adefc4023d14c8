#include <movietools/recover/recover.h>

#include <libdataio/imagewriter.h>
#include <movietools/job/joberror.h>
#include <movietools/verify/addchecksums.h>
#include <tests/support/childprocess.h>
#include <tests/support/descriptor.h>
#include <tests/support/jobproblem.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>

#include <gmock/gmock.h>

#include <QFile>
#include <QFileInfo>

#include <sys/xattr.h>

namespace zd::movietools {
namespace {

using test::countingFrame;
using test::MovieBuilder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const timeval firstTime{1'700'000'000, 0};
const timeval secondTime{1'700'000'000, 250'000};

class Recover : public testing::Test {
protected:
    /// The recovered movie and what was told about it.
    struct Recovered {
        std::string bytes;
        RecoverResult result;
    };

    Recovered recoverFile(const QString& damaged, RecoverOptions options = {}) const
    {
        QFile::remove(output);
        options.movie = damaged;
        options.output = output;
        Recovered recovered;
        recovered.result = recoverMovie(options);
        recovered.bytes = test::readFile(output);
        return recovered;
    }

    Recovered recoverBytes(const std::string& bytes, const RecoverOptions& options = {})
    {
        memory.write(bytes);
        return recoverFile(memory.path(), options);
    }

    std::string problemOf(const std::string& bytes, const RecoverOptions& options = {})
    {
        return test::jobProblem([&] { recoverBytes(bytes, options); });
    }

    test::TemporaryDirectory directory;
    QString movie = directory.path("movie.vqf");
    QString output = directory.path("recovered.vqf");
    test::MemoryFile memory;
};

std::vector<std::string> listOf(const QStringList& texts)
{
    std::vector<std::string> list;
    for (const QString& text : texts)
        list.push_back(text.toStdString());
    return list;
}

TEST_F(Recover, CopiesSoundMoviesByteByByte)
{
    for (const std::string& sound :
         {test::smallMovie(), test::richMovie(), MovieBuilder().frameFormat(4, 2, 5, 16).movie(),
          MovieBuilder().frame("x").chunk(9, "unknown").bytes(test::chunk(10, "")).movie()}) {
        const Recovered recovered = recoverBytes(sound);
        EXPECT_EQ(recovered.bytes, sound);
        EXPECT_TRUE(recovered.result.isComplete());
        EXPECT_EQ(recovered.result.header, HeaderOrigin::Movie);
    }
    // The order of the frames is the index's, the place of each stays.
    MovieBuilder rotated;
    rotated.frameFormat(2, 1, 3, 8).bytes(test::chunk(2, "ab") + test::chunk(2, "cd")).record(2, 34, 2).record(2, 0, 2);
    EXPECT_EQ(recoverBytes(rotated.movie()).bytes, rotated.movie());
}

TEST_F(Recover, KeepsSideDataThatLiesBeforeTheCut)
{
    const std::string rich = test::richMovie();
    const std::size_t info = rich.rfind("\n<CSTA");
    const Recovered cutInInfo = recoverBytes(rich.substr(0, rich.size() - 40));
    EXPECT_EQ(cutInInfo.bytes.substr(0, info), rich.substr(0, info));
    EXPECT_THAT(listOf(cutInInfo.result.guessed), ElementsAre("width"));
    EXPECT_THAT(test::headerText(cutInInfo.bytes), HasSubstr("comment=first line\asecond line\n"));
    EXPECT_THAT(test::headerText(cutInInfo.bytes), HasSubstr("plug_recovery_guess=width\nwidth=4\n"));
    EXPECT_EQ(cutInInfo.result.header, HeaderOrigin::DamagedMovie);
    EXPECT_THAT(listOf(cutInInfo.result.losses),
                ElementsAre("a chunk that was cut off, at the end of the file; bytes: 607"));
}

TEST_F(Recover, KeepsTimesAndPowersInStepWhenFramesAreLost)
{
    MovieBuilder builder;
    builder.frameFormat(4, 2, 5, 16);
    for (int frame = 0; frame < 4; ++frame)
        builder.frame(countingFrame(16, static_cast<char>(20 * frame)));
    std::string times;
    for (int frame = 0; frame < 4; ++frame)
        times += test::timeBytes(100 + frame, 7);
    const std::string sound = builder.chunk(7, times).chunk(8, "abcd").movie();

    const Recovered recovered = recoverBytes(test::withBytes(sound, 50, std::string(90, '?')));
    EXPECT_THAT(test::framesOf(recovered.bytes), ElementsAre(countingFrame(16, 0), countingFrame(16, 60)));
    const auto chunks = test::walkMovie(recovered.bytes);
    EXPECT_EQ(chunks[2].payload, test::timeBytes(100, 7) + test::timeBytes(103, 7));
    EXPECT_EQ(chunks[3].payload, "ad");
    EXPECT_EQ(recovered.result.lostFrames, 2U);
    EXPECT_EQ(recovered.result.skippedBytes, 96);
    EXPECT_THAT(listOf(recovered.result.losses),
                ElementsAre("bytes that belong to no chunk: 96", "frames that the index lists: 2"));

    // The same with times in the header, which then go into a chunk of their own.
    MovieBuilder older;
    older.frameFormat(4, 2, 5, 16).attribute("frame_timer", "1");
    for (int frame = 0; frame < 2; ++frame) {
        older.frame(countingFrame(16, static_cast<char>(20 * frame)));
        older.attribute("frame_timer_n" + std::to_string(frame) + "_sec", std::to_string(50 + frame));
        older.attribute("frame_timer_n" + std::to_string(frame) + "_usec", "3");
    }
    const auto olderChunks =
        test::walkMovie(recoverBytes(test::withBytes(older.movie(), 0, std::string(48, '?'))).bytes);
    ASSERT_EQ(olderChunks.size(), 3U);
    EXPECT_EQ(olderChunks[1].payload, test::timeBytes(51, 3));
    EXPECT_THAT(olderChunks[2].payload, testing::Not(HasSubstr("frame_timer")));
}

TEST_F(Recover, FindsFramesThatNoIndexLists)
{
    const std::string small = test::smallMovie();
    const std::string third = countingFrame(16, 77);
    // Appended behind the end of a closed movie, as a program does that knows no index.
    const Recovered appended = recoverBytes(small + test::chunk(2, third));
    EXPECT_THAT(test::framesOf(appended.bytes), ElementsAre(countingFrame(16, 1), countingFrame(16, 101), third));
    EXPECT_EQ(appended.result.unlistedFrames, 1U);
    EXPECT_EQ(appended.result.header, HeaderOrigin::DamagedMovie);
    EXPECT_EQ(test::walkMovie(appended.bytes)[4].payload, std::string("\x7F\xFF\xFF"));
    // Two frames side by side whose headers are damaged where they meet: the index knows them.
    std::string neighbours = test::withBytes(test::withBytes(small, 32, "?"), 48, "?");
    EXPECT_EQ(recoverBytes(neighbours).bytes, small);
    EXPECT_EQ(recoverBytes(neighbours).result.mendedChunks, 2U);
}

TEST_F(Recover, PutsAHeaderTogetherWhenThereIsNone)
{
    const std::string frames = test::smallMovie().substr(0, 96);
    const Recovered guessed = recoverBytes(frames);
    EXPECT_EQ(test::headerText(guessed.bytes), "endian=2\nheight=4\npixbits=8\npixtype=3\n"
                                               "plug_recovery_guess=height,pixbits,pixtype,width\nwidth=4\n");
    EXPECT_EQ(guessed.result.header, HeaderOrigin::Nowhere);
    EXPECT_FALSE(guessed.result.isComplete());
    EXPECT_THAT(listOf(guessed.result.losses), ElementsAre("frame times", "laser powers"));

    RecoverOptions options;
    options.attributes = {{QStringLiteral("width"), QStringLiteral("16")},
                          {QStringLiteral("pixbits"), QStringLiteral("8")}};
    EXPECT_EQ(test::headerText(recoverBytes(frames, options).bytes),
              "endian=2\nheight=1\npixbits=8\nplug_recovery_guess=height\nwidth=16\n");

    options = {};
    options.like = directory.path("like.vqf");
    test::writeFile(
        options.like,
        MovieBuilder().frameFormat(2, 4, 6, 16).attribute("frame_timer", "0").attribute("plug_gain", "3").movie());
    const Recovered like = recoverBytes(frames, options);
    EXPECT_EQ(test::headerText(like.bytes), "endian=2\nheight=4\npixbits=16\npixtype=6\nplug_gain=3\nwidth=2\n");
    EXPECT_EQ(like.result.header, HeaderOrigin::OtherMovie);
    EXPECT_THAT(like.result.guessed, IsEmpty());
    // A movie with frames of another size is of another kind; one that has its header needs none.
    test::writeFile(options.like, MovieBuilder().frameFormat(2, 4, 3, 8).movie());
    EXPECT_EQ(problemOf(frames, options), "has frames of 8 bytes, and the movie to recover frames of 16");
    EXPECT_EQ(problemOf(test::smallMovie(), options), "nothing was reported");
}

TEST_F(Recover, GuessesCommonFrames)
{
    const auto guessFor = [this](std::size_t bytes) {
        return test::headerText(recoverBytes(test::chunk(2, std::string(bytes, 'x'))).bytes);
    };
    EXPECT_THAT(guessFor(576 * 576 * 2), testing::StartsWith("endian=2\nheight=576\npixbits=16\npixtype=5\n"));
    EXPECT_THAT(guessFor(896 * 640), testing::StartsWith("endian=2\nheight=640\npixbits=8\npixtype=3\n"));
    EXPECT_THAT(guessFor(640 * 480 * 4),
                testing::EndsWith("pixtype=1\nplug_recovery_guess=height,pixbits,pixtype,width\nwidth=640\n"));
    EXPECT_THAT(guessFor(100 * 100 * 2), testing::EndsWith("width=100\n"));
    EXPECT_THAT(guessFor(13), testing::EndsWith("width=13\n"));
    EXPECT_EQ(guessFor(0), "endian=2\n");
}

/// Records two frames and dies.
void recordAndDie(const QString& path, bool logged)
{
    test::inDyingProcess([&] {
        ImageWriter& writer = *new ImageWriter; // nobody closes it
        writer.setRecordingLog(logged);
        writer.create(path, false);
        writer.width(4);
        writer.height(2);
        writer.pixType(ZD_USHORT);
        writer.setComment(QStringLiteral("cut off"));
        writer.addRasterFiberContinuousIndexes({1.0F, 0.5F});
        writer.addFrame(countingFrame(16, 1).data(), firstTime, 0.5F);
        writer.addFrame(countingFrame(16, 101).data(), secondTime, -1.0F);
    });
}

bool hasExtendedAttributes(const QString& path)
{
    return setxattr(path.toUtf8().constData(), "user.test", "1", 1, 0) == 0;
}

TEST_F(Recover, FinishesRecordingsByTheirLog)
{
    recordAndDie(movie, true);
    const Recovered recovered = recoverFile(movie);
    const auto chunks = test::walkMovie(recovered.bytes);
    ASSERT_EQ(chunks.size(), 6U);
    EXPECT_THAT(test::framesOf(recovered.bytes), ElementsAre(countingFrame(16, 1), countingFrame(16, 101)));
    EXPECT_EQ(chunks[2].payload, test::words({0x3FFFFFFF, 0x3FFFFFFF}));
    EXPECT_EQ(chunks[3].payload, test::timeBytes(1'700'000'000, 0) + test::timeBytes(1'700'000'000, 250'000));
    EXPECT_EQ(chunks[4].payload, "\x7F\xFF");
    EXPECT_EQ(test::headerText(recovered.bytes),
              "comment=cut off\nendian=2\nheight=2\npixbits=16\npixtype=5\nwidth=4\n");
    EXPECT_EQ(recovered.result.header, HeaderOrigin::RecordingLog);
    EXPECT_TRUE(recovered.result.isComplete());
    // The input and its log are as they were: in place gives the same movie, and then the log goes.
    RecoverOptions inPlace;
    inPlace.movie = movie;
    inPlace.inPlace = true;
    EXPECT_EQ(recoverMovie(inPlace).frames, 2U);
    EXPECT_EQ(test::readFile(movie), recovered.bytes);
    EXPECT_FALSE(QFileInfo::exists(movie + QStringLiteral("-log")));
}

TEST_F(Recover, FinishesRecordingsByTheirExtendedAttribute)
{
    recordAndDie(movie, false);
    if (!hasExtendedAttributes(movie))
        GTEST_SKIP() << "no extended attributes here";
    const Recovered recovered = recoverFile(movie);
    EXPECT_THAT(test::framesOf(recovered.bytes), ElementsAre(countingFrame(16, 1), countingFrame(16, 101)));
    EXPECT_EQ(recovered.result.header, HeaderOrigin::ExtendedAttribute);
    EXPECT_THAT(test::headerText(recovered.bytes), HasSubstr("comment=cut off\n"));
    EXPECT_THAT(listOf(recovered.result.losses), ElementsAre("frame times", "laser powers"));
}

/// Replaces a frame of the small movie, appends one and dies.
void editAndDie(const QString& path)
{
    test::writeFile(path, test::smallMovie());
    test::inDyingProcess([&] {
        ImageWriter& writer = *new ImageWriter; // nobody closes it
        writer.modify(path);
        writer.replaceFrame(countingFrame(16, 33).data(), 0, 1.0F);
        writer.addFrame(countingFrame(16, 66).data(), -1.0F);
    });
}

TEST_F(Recover, UndoesEditsAndKeepsWhatTheyAppended)
{
    editAndDie(movie);
    const std::string dead = test::readFile(movie);
    const Recovered recovered = recoverFile(movie);
    EXPECT_EQ(test::readFile(movie), dead);
    EXPECT_THAT(test::framesOf(recovered.bytes),
                ElementsAre(countingFrame(16, 1), countingFrame(16, 101), countingFrame(16, 66)));
    const auto chunks = test::walkMovie(recovered.bytes);
    EXPECT_EQ(chunks[3].payload, test::timeBytes(1'700'000'000, 0) + test::timeBytes(1'700'000'000, 250'000));
    EXPECT_EQ(chunks[4].payload, "\x7F\xFF\xFF");
    EXPECT_EQ(recovered.result.header, HeaderOrigin::EditJournal);
    EXPECT_EQ(recovered.result.unlistedFrames, 1U);

    RecoverOptions inPlace;
    inPlace.movie = movie;
    inPlace.inPlace = true;
    EXPECT_EQ(recoverMovie(inPlace).frames, 2U);
    EXPECT_EQ(test::readFile(movie), test::smallMovie());
    EXPECT_THAT(test::framesOf(test::readFile(movie + QStringLiteral("-rescued"))), ElementsAre(countingFrame(16, 66)));
}

TEST_F(Recover, LeavesLivingEditsAlone)
{
    test::writeFile(movie, test::smallMovie());
    ImageWriter writer;
    writer.modify(movie);
    RecoverOptions options;
    options.movie = movie;
    options.output = output;
    EXPECT_THROW(recoverMovie(options), JobError);
    options.inPlace = true;
    EXPECT_THROW(recoverMovie(options), JobError);
    writer.close();
    EXPECT_EQ(test::readFile(movie), test::smallMovie());
}

TEST_F(Recover, MendsEndsInPlaceAndNothingElse)
{
    const std::string small = test::smallMovie();
    RecoverOptions options;
    options.movie = movie;
    options.inPlace = true;
    // What lies before the tear stays, chunk by chunk, and the index is made anew.
    for (const std::size_t length : {std::size_t{100}, std::size_t{170}, std::size_t{308}, small.size()}) {
        test::writeFile(movie, small.substr(0, length));
        EXPECT_EQ(recoverMovie(options).frames, 2U);
        const std::string mended = test::readFile(movie);
        EXPECT_EQ(mended.substr(0, 96), small.substr(0, 96));
        EXPECT_EQ(recoverBytes(small.substr(0, length)).bytes, mended) << length;
    }
    for (const std::size_t at : {0U, 90U}) {
        const std::string damaged = test::withBytes(small, at, "?");
        test::writeFile(movie, damaged);
        EXPECT_THROW(recoverMovie(options), JobError);
        EXPECT_EQ(test::readFile(movie), damaged);
    }
}

TEST_F(Recover, KeepsChecksumsOfTheFramesThatAreLeft)
{
    test::writeFile(movie, test::richMovie());
    addChecksums(movie, false);
    const std::string checked = test::readFile(movie);
    // The middle frame is destroyed, the last one changed: its checksum still tells.
    const Recovered recovered =
        recoverBytes(test::withBytes(test::withBytes(checked, 48, std::string(48, '?')), 120, "?"));
    EXPECT_EQ(recovered.result.frames, 2U);
    std::vector<std::string> names;
    for (const Finding& finding : recovered.result.verification.findings.list())
        names.push_back(finding.name.toStdString() + "@" + std::to_string(finding.offset));
    EXPECT_THAT(names, ElementsAre("checksum-frame@48"));
    EXPECT_EQ(recovered.result.verification.framesWithChecksum, 2U);
}

TEST_F(Recover, TouchesNeitherInputNorOtherFiles)
{
    const std::string damaged = test::withBytes(test::smallMovie(), 0, "?");
    test::writeFile(movie, damaged);
    RecoverOptions options;
    options.movie = movie;
    options.output = movie;
    options.replace = true;
    EXPECT_THROW(recoverMovie(options), JobError);
    EXPECT_EQ(test::readFile(movie), damaged);
    options.output = output;
    options.replace = false;
    test::writeFile(output, "something else");
    EXPECT_THROW(recoverMovie(options), JobError);
    EXPECT_EQ(test::readFile(output), "something else");
    EXPECT_THROW(recoverMovie(options, [](const Progress&) { return false; }), JobError);
    QFile::remove(output);
    EXPECT_THROW(recoverMovie(options, [](const Progress&) { return false; }), JobCancelled);
    EXPECT_FALSE(QFileInfo::exists(output));
    EXPECT_EQ(problemOf("no movie at all"), "holds no frame and nothing else of a movie");
}

} // namespace
} // namespace zd::movietools
