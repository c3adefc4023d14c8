#include <libdataio/imagewriter.h>

#include <libdataio/imagereader.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebuilder.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/nosynchronisation.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <functional>

namespace zd {

namespace {

using namespace test;

const std::string frames[] = {countingFrame(16, '\x00'), countingFrame(16, '\x20'), countingFrame(16, '\x40')};
const std::string other = countingFrame(16, '\x60');
const std::string times = timeBytes(10, 0) + timeBytes(11, 0) + timeBytes(12, 0);
const std::string fibers = words({1073741823, 2147483647});
const std::string powers("\x01\x7F\xFF", 3);

/// Three frames and a header; side data to be added.
MovieBuilder bareMovie()
{
    MovieBuilder builder;
    for (const std::string& frame : frames)
        builder.frame(frame);
    return builder.frameFormat(4, 2, 5, 16).attribute("comment", "c");
}

MovieBuilder fullMovie()
{
    return bareMovie().chunk(6, fibers).chunk(7, times).chunk(8, powers);
}

class Editing : public testing::Test {
protected:
    std::string file() const { return readFile(m_path); }
    void put(const std::string& bytes) const
    {
        QFile::remove(m_path); // a file that is cut and rewritten goes to the disk at once, which takes long
        writeFile(m_path, bytes);
    }

    /// Edits a movie of these bytes and returns those of the closed result.
    std::string edited(const std::string& bytes, const std::function<void(ImageWriter&)>& edit)
    {
        put(bytes);
        {
            ImageWriter writer;
            writer.modify(m_path);
            EXPECT_TRUE(writer.isOpen());
            edit(writer);
            writer.close();
        }
        EXPECT_EQ(QDir(m_directory.path("")).entryList(QDir::Files), QStringList(QStringLiteral("movie.vqf")));
        walkMovie(file());
        return file();
    }

    /// Tries to edit a movie of these bytes, and checks that the refusal leaves no trace.
    Report refusal(const char* logger, const std::string& bytes)
    {
        put(bytes);
        Report report;
        {
            ImageWriter writer;
            report = reportOf(logger, [&] { writer.modify(m_path); });
            EXPECT_FALSE(writer.isOpen());
        }
        EXPECT_EQ(file(), bytes);
        EXPECT_EQ(QDir(m_directory.path("")).entryList(QDir::Files), QStringList(QStringLiteral("movie.vqf")));
        return report;
    }

    const NoSynchronisation m_noSynchronisation;
    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
};

TEST_F(Editing, ClosingAtOnceGivesTheSameMovie)
{
    const MovieBuilder movies[] = {
        fullMovie(),
        bareMovie(),
        bareMovie().chunk(8, powers),
        bareMovie().chunk(6, fibers),
        MovieBuilder().frame("").frameFormat(0, 0, 5, 16),
        MovieBuilder().attribute("endian", "2"),
        MovieBuilder().chunk(99, "foreign").frame(frames[0]).chunk(3, "").attribute("endian", "2").chunk(7, times),
    };
    for (const MovieBuilder& movie : movies) {
        EXPECT_EQ(edited(movie.movie(), [](ImageWriter&) {}), movie.movie());
    }
}

TEST_F(Editing, CutsTheTailAndTakesItBack)
{
    put(fullMovie().movie());
    ImageWriter writer;
    writer.modify(m_path);
    EXPECT_EQ(file(), bareMovie().unfinished());
    EXPECT_EQ(writer.getRasterFiberContinuousIndexes(), (std::vector<float>{1, 1}));
    EXPECT_EQ(writer.getComment(), QStringLiteral("c"));
    EXPECT_EQ(writer.pixBytes(), 2);
    EXPECT_EQ(codeOf([&] { writer.modify(m_directory.path("none")); }), "FDCW_MODIFY");
    EXPECT_EQ(file(), fullMovie().movie()) << "it was closed before the next was opened";
    EXPECT_EQ(readFile(m_directory.path("none")), "");
    EXPECT_FALSE(writer.isOpen());
    writer.close();
    EXPECT_EQ(readFile(m_directory.path("none")), "") << "nothing was open";
}

TEST_F(Editing, ReadsFibreCentresInWholePairs)
{
    put(bareMovie().chunk(6, words({0, 4294967295, 2684354559})).movie());
    ImageWriter writer;
    writer.modify(m_path);
    EXPECT_EQ(writer.getRasterFiberContinuousIndexes(), (std::vector<float>{0, 1}));
}

TEST_F(Editing, AppendsAndReplaces)
{
    const std::string longer(20, 'l');
    const std::string result = edited(fullMovie().movie(), [&](ImageWriter& writer) {
        writer.addFrame(other.data(), 0.5F); // has no time
        writer.replaceFrame(other.data(), 1, timeval{5, 5}, 0.25F);
        EXPECT_EQ(file().size(), 4 * 48U);
        writer.addFrame(longer.data(), 20, timeval{13, 1}, -1.0F); // not behind the replaced frame
        writer.replaceFrame(frames[0].data(), 2, -1.0F);
        writer.addFrameAtEnd(longer.data(), 20, timeval{14, 1}, 1.0F);
        writer.attribute(QStringLiteral("comment"), QStringLiteral("edited"));
    });
    EXPECT_EQ(result,
              MovieBuilder()
                  .frame(frames[0])
                  .frame(other)
                  .frame(frames[0])
                  .frame(other)
                  .frame(longer)
                  .frame(longer)
                  .chunk(6, fibers)
                  .chunk(7, timeBytes(5, 5) + timeBytes(10, 0) + timeBytes(12, 0) + timeBytes(13, 1) + timeBytes(14, 1))
                  .chunk(8, std::string("\x01\x40\xFF\x7F\xFF\xFE", 6))
                  .frameFormat(4, 2, 5, 16)
                  .attribute("comment", "edited")
                  .movie());
}

TEST_F(Editing, ReplacesOnlyTheBytesOfTheFrame)
{
    put(fullMovie().movie());
    ImageWriter writer;
    writer.modify(m_path);
    const std::string open = file();
    writer.replaceFrame(other.data(), 1, 0.25F);
    EXPECT_EQ(file(), withBytes(open, 64, other));
    EXPECT_EQ(codeOf([&] { writer.replaceFrame(other.data(), 3, 0.5F); }), "IW_RF_BOUND");
    EXPECT_EQ(codeOf([&] { writer.replaceFrame(other.data(), 4'000'000'000U, 0.5F); }), "IW_RF_BOUND");
    EXPECT_EQ(codeOf([&] { writer.replaceFrame(other.data(), 3, timeval{}, 0.5F); }), "IW_RF_BOUND2");
    EXPECT_EQ(file(), withBytes(open, 64, other));
    writer.close();
    EXPECT_EQ(file(), withBytes(withBytes(fullMovie().movie(), 64, other), fullMovie().end() - 18, "\x40"))
        << "frame and laser power";
}

TEST_F(Editing, FillsListsThatAreTooShort)
{
    EXPECT_EQ(edited(bareMovie().movie(), [](ImageWriter& writer) { writer.replaceFrame(other.data(), 1, 0.5F); }),
              MovieBuilder()
                  .frame(frames[0])
                  .frame(other)
                  .frame(frames[2])
                  .chunk(8, "\xFF\x7F\xFF")
                  .frameFormat(4, 2, 5, 16)
                  .attribute("comment", "c")
                  .movie());

    const std::string oneTime = bareMovie().chunk(7, timeBytes(10, 0)).movie();
    const std::string untouched = edited(oneTime, [](ImageWriter& writer) {
        EXPECT_EQ(codeOf([&] { writer.replaceFrame(other.data(), 1, timeval{1, 1}, 0.5F); }), "IW_RF_BOUND2");
    });
    EXPECT_EQ(untouched, oneTime) << "neither frame nor laser power";
}

TEST_F(Editing, ReordersWithTheLaserPowers)
{
    const std::string result = edited(fullMovie().movie(), [](ImageWriter& writer) { writer.setFirstFrame(2); });
    EXPECT_EQ(framesOf(result), (std::vector<std::string>{frames[2], frames[0], frames[1]}));
    EXPECT_EQ(walkMovie(result)[5].payload, std::string("\xFF\x01\x7F", 3));
    EXPECT_EQ(walkMovie(result)[4].payload, times);
    EXPECT_EQ(framesOf(edited(result,
                              [](ImageWriter& writer) {
                                  writer.replaceFrame(other.data(), 0, 0.5F); // the frame that lies last
                                  writer.organizeIndex(1, 2);
                              })),
              (std::vector<std::string>{frames[0], other, frames[1]}));

    put(MovieBuilder().frame("a").frame("b").frame("c").chunk(8, "\x01\x02").attribute("endian", "2").movie());
    ImageWriter writer;
    writer.modify(m_path);
    EXPECT_EQ(reportOf("dataio.imagewriter", [&] { writer.setFirstFrame(0); }).message,
              "Warning laser power vector size is not equal to number of frames.");
    EXPECT_EQ(reportOf("dataio.imagewriter", [&] { writer.organizeIndex(1, 2); }).message,
              "Warning laser power vector size is not equal to number of frames (2!=3).");
    writer.close();
    EXPECT_EQ(framesOf(file()), (std::vector<std::string>{"b", "a", "c"})) << "the frames moved all the same";
    EXPECT_EQ(walkMovie(file())[3].payload, "\x01\x02");
}

TEST_F(Editing, TurnsTimesThatAreAttributesIntoAChunk)
{
    MovieBuilder old = bareMovie().attribute("frame_timer", "1").attribute("utc_offset_seconds", "3600");
    MovieBuilder converted = bareMovie().chunk(7, timeBytes(3, 4) + timeBytes(5, 6));
    for (MovieBuilder* movie : {&old, &converted})
        movie->attribute("frame_timer_n3_sec", "9");
    old.attribute("frame_timer_n0_sec", "5").attribute("frame_timer_n0_usec", "6");
    old.attribute("frame_timer_n1_sec", "3").attribute("frame_timer_n1_usec", "4");
    converted.attribute("utc_offset_seconds", "3600");
    EXPECT_EQ(edited(old.movie(), [](ImageWriter&) {}), converted.movie());
}

TEST_F(Editing, RefusesWhatIsNoMovie)
{
    const Report noMovie{"FDCW_MODIFY", "This is not a VFQ file.", 3};
    EXPECT_EQ(refusal("dataio.imagewriter", ""), noMovie);
    EXPECT_EQ(refusal("dataio.imagewriter", "short"), noMovie);
    EXPECT_EQ(refusal("dataio.imagewriter", bareMovie().unfinished()), noMovie);
    EXPECT_EQ(refusal("dataio.imagewriter", fullMovie().movie() + chunk(2, frames[0])), noMovie);
    EXPECT_EQ(refusal("dataio.imagewriter", word(0) + chunk(5, "").substr(16)), noMovie) << "it would begin before 0";
    EXPECT_EQ(refusal("dataio.chunkheader", std::string(40, 'x')).code, "CHB_LFD_PARSE");

    const Report order{"FDCW_MODIFY1",
                       "Cannot modify a file whose endianness is not specified or is different from the one of the "
                       "current machine.",
                       3};
    EXPECT_EQ(refusal("dataio.imagewriter", fullMovie().attribute("endian", "1").movie()), order);
    EXPECT_EQ(refusal("dataio.imagewriter", fullMovie().attribute("endian", "two").movie()), order);
    EXPECT_EQ(refusal("dataio.imagewriter", MovieBuilder().frame(frames[0]).movie()), order);

    const auto place = [](const char* code, const char* what) {
        return Report{code, std::string("Cannot modify this movie with ") + what + " not at the expected location.", 3};
    };
    EXPECT_EQ(refusal("dataio.imagewriter", bareMovie().chunk(6, fibers).chunk(8, powers).chunk(7, times).movie()),
              place("FDCW_MODIFY2", "laser powers"));
    EXPECT_EQ(refusal("dataio.imagewriter", bareMovie().chunk(7, times).chunk(6, fibers).chunk(8, powers).movie()),
              place("FDCW_MODIFY3", "frametimers"));
    EXPECT_EQ(refusal("dataio.imagewriter", bareMovie().chunk(6, fibers).frame(other).chunk(7, times).movie()),
              place("FDCW_MODIFY4", "fibercenters"));
    EXPECT_EQ(refusal("dataio.imagewriter", MovieBuilder().chunk(6, fibers).attribute("endian", "2").movie()),
              (Report{"IW_ARFCI_INFO2", "cannot get fiber centers without width and height.", 0}));
}

TEST_F(Editing, RefusesDamage)
{
    const std::string whole = fullMovie().movie();
    const std::vector<WalkedChunk> chunks = walkMovie(whole);
    const std::size_t info = chunks.back().offset;
    const auto code = [this](const char* logger, const std::string& bytes) { return refusal(logger, bytes).code; };
    EXPECT_EQ(code("dataio.chunkindex", withBytes(whole, info + 16, "\xFF")), "CI_L_CHUNK");
    EXPECT_EQ(code("dataio.chunkheader", fullMovie().bytes("foreign bytes, 22 long").movie()), "CHB_LFD_PARSE");
    for (std::size_t i = 3; i < chunks.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(code("dataio.chunkheader", withBytes(whole, chunks[i].offset + 2, "X")), "CHB_LFD_PARSE");
        EXPECT_EQ(code("dataio.chunkheader", withBytes(whole, chunks[i].offset + 9, "\x02")), "CHB_LFD_PARSE")
            << "type";
        EXPECT_EQ(code("dataio.chunkheader", withBytes(whole, chunks[i].offset + 13, "\x01")), "CHB_LFD_PARSE")
            << "size";
    }
    // An end header that claims more reaches into frames: what would be cut is no chunk.
    const std::string fibersOnly = bareMovie().chunk(6, fibers).movie();
    EXPECT_EQ(code("dataio.chunkheader", withBytes(fibersOnly, 144 + 24 + 13, "\x30")), "CHB_LFD_PARSE");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        put(whole.substr(0, length));
        EXPECT_NE(codeOf([&] { ImageWriter().modify(m_path); }), "") << length;
        EXPECT_EQ(file().size(), length);
    }
}

TEST_F(Editing, NeverWritesOverWhatIsNoSuchFrame)
{
    const MovieBuilder liars[] = {
        bareMovie().record(2, 0, 0x00100000),                // longer than the frame
        bareMovie().record(2, 4, 16),                        // no chunk begins there
        bareMovie().record(2, 1'000'000, 16),                // beyond the end
        bareMovie().record(2, 0xFFFFFFFF, ~0U),              // ends beyond 32 bits
        bareMovie().chunk(99, frames[0]).record(2, 144, 16), // another type
        bareMovie().bytes(chunk(2, frames[0]).substr(0, 20)).record(2, 144, 16),
    };
    for (const MovieBuilder& liar : liars) {
        put(liar.end() % 48 == 0 ? liar.movie()
                                 : liar.unfinished() + std::string(28, 'x') + chunk(5, liar.infoPayload()));
        if (liar.end() % 48 != 0) {
            EXPECT_EQ(codeOf([&] { ImageWriter().modify(m_path); }), "CHB_LFD_PARSE");
            continue;
        }
        ImageWriter writer;
        writer.modify(m_path);
        const std::string open = file();
        EXPECT_EQ(codeOf([&] { writer.replaceFrame(other.data(), 3, 0.5F); }), "CHB_LFD_PARSE");
        EXPECT_EQ(file(), open);
        writer.close();
        EXPECT_EQ(file(), liar.movie());
    }
    // A chunk whose own header agrees with the index but reaches into the side data.
    MovieBuilder reaching = bareMovie();
    reaching.frame(chunk(2, frames[0]).substr(0, 10) + wordBigEndian(4000) + ">\n" + std::string(16, 'p'));
    reaching.record(2, reaching.end() - 48, 4000);
    put(reaching.movie());
    ImageWriter writer;
    writer.modify(m_path);
    EXPECT_EQ(codeOf([&] { writer.replaceFrame(other.data(), 4, 0.5F); }), "CHB_LFD_PARSE");
    writer.close();
    EXPECT_EQ(file(), reaching.movie());
}

TEST_F(Editing, ReplacesTheAttributes)
{
    const std::string chunks = fullMovie().unfinished();
    const auto expected = [&](const std::string& text) {
        const std::string payload = fullMovie().infoPayload();
        return chunks + chunk(5, payload.substr(0, payload.find("comment=")) + text);
    };
    AttributeChunk attributes;
    put(fullMovie().movie());
    const auto replace = [&] {
        ImageWriter writer;
        writer.modifyAttribute(m_path, attributes);
        EXPECT_FALSE(writer.isOpen());
        EXPECT_EQ(QDir(m_directory.path("")).entryList(QDir::Files), QStringList(QStringLiteral("movie.vqf")));
    };
    replace();
    EXPECT_EQ(file(), expected("")) << "nothing is asked for, not even endian";
    attributes.set(QStringLiteral("a"), QString(500, u'a'));
    attributes.set(QStringLiteral("width"), 7);
    replace();
    EXPECT_EQ(file(), expected("a=" + std::string(500, 'a') + "\nwidth=7\n")) << "longer";
    attributes.set(QStringLiteral("width"), 8);
    replace();
    EXPECT_EQ(file(), expected("a=" + std::string(500, 'a') + "\nwidth=8\n")) << "of the same length";
    attributes.set(QStringLiteral("a"), 1);
    replace();
    EXPECT_EQ(file(), expected("a=1\nwidth=8\n")) << "shorter";
    EXPECT_EQ(refusal("dataio.imagewriter", file()).code, "FDCW_MODIFY1");
}

TEST_F(Editing, AWritersOwnAttributesCanBeThoseToWrite)
{
    put(fullMovie().movie());
    ImageWriter writer;
    writer.modify(m_path);
    writer.attribute(QStringLiteral("comment"), QStringLiteral("own"));
    writer.modifyAttribute(m_path, writer.attributeChunk());
    EXPECT_EQ(file(), fullMovie().attribute("comment", "own").movie());
    EXPECT_EQ(writer.getRasterFiberContinuousIndexes(), (std::vector<float>{1, 1})) << "lists are not touched";
    writer.addRasterFiberContinuousIndexes(writer.getRasterFiberContinuousIndexes());
    EXPECT_EQ(writer.getRasterFiberContinuousIndexes(), (std::vector<float>{1, 1}));
}

TEST_F(Editing, RefusesAttributesOfWhatIsNoMovie)
{
    const auto refused = [this](const std::string& bytes) {
        put(bytes);
        std::string code;
        {
            ImageWriter writer;
            code = codeOf([&] { writer.modifyAttribute(m_path, AttributeChunk()); });
            EXPECT_FALSE(writer.isOpen());
        }
        EXPECT_EQ(file(), bytes);
        return code;
    };
    const std::string whole = fullMovie().movie();
    EXPECT_EQ(refused(""), "FDCW_MODIFY");
    EXPECT_EQ(refused(bareMovie().unfinished()), "FDCW_MODIFY");
    EXPECT_EQ(refused(withoutTail(whole, 1)), "CHB_LFD_PARSE");
    EXPECT_EQ(refused(withBytes(whole, fullMovie().end() + 16, "\xFF")), "CI_L_CHUNK");
    EXPECT_EQ(refused(withBytes(whole, whole.size() - 3, "\x01")), "CHB_LFD_PARSE") << "the size of the info chunk";
    EXPECT_EQ(codeOf([&] { ImageWriter().modifyAttribute(m_directory.path("no/folder"), AttributeChunk()); }),
              "FW_OF_OPEN2");
}

/// Runs an edit with a fault in its n-th system call, for every n.
template <typename Edit, typename Check>
void withEveryFault(Fault fault, Edit edit, Check check)
{
    bool struck = true;
    for (fault.at = 1; struck; ++fault.at) {
        SCOPED_TRACE(testing::Message() << "call " << fault.at << ", error " << fault.error << ", share "
                                        << static_cast<int>(fault.share) << (fault.lasting ? ", lasting" : ""));
        std::string code;
        {
            Faults faults(fault);
            code = codeOf(edit);
            struck = faults.struck();
        }
        check(code);
        ASSERT_LT(fault.at, 200);
    }
}

TEST_F(Editing, AFailureToOpenLeavesNoTrace)
{
    const std::string whole = fullMovie().movie();
    for (const int error : {EIO, ENOSPC, EACCES}) {
        for (const bool lasting : {false, true}) {
            int failures = 0;
            withEveryFault(
                {.error = error, .lasting = lasting},
                [&] {
                    put(whole);
                    ImageWriter writer;
                    writer.modify(m_path);
                    throw IOFileException(QString(), Library, QStringLiteral("opened"), QString(), {});
                },
                [&](const std::string& code) {
                    if (code == "opened")
                        return; // and closed by its destructor, or left to its journal
                    ++failures;
                    EXPECT_EQ(file(), whole);
                });
            EXPECT_GT(failures, 10);
            ImageWriter::undoInterruptedEdit(m_path);
            EXPECT_EQ(file(), whole);
        }
    }
    bool failed = true;
    int failures = 0;
    for (int n = 1; failed; ++n) {
        put(whole);
        ImageWriter writer;
        try {
            Allocations allocations({.at = n});
            failed = !codeOf([&] { writer.modify(m_path); }).empty();
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        EXPECT_EQ(writer.isOpen(), !failed);
        EXPECT_TRUE(!failed || file() == whole);
        failures += failed ? 1 : 0;
    }
    EXPECT_GT(failures, 10);
}

TEST_F(Editing, AFailedEditCanBeCarriedOn)
{
    const std::string result = MovieBuilder()
                                   .frame(frames[0])
                                   .frame(other)
                                   .frame(frames[2])
                                   .frame(frames[1])
                                   .chunk(6, fibers)
                                   .chunk(7, times + timeBytes(13, 0))
                                   .chunk(8, std::string("\x01\x7F\xFF\x7F", 4))
                                   .frameFormat(4, 2, 5, 16)
                                   .attribute("comment", "c")
                                   .movie();
    for (const Share share : {Share::Nothing, Share::Half, Share::AllButOne, Share::All}) {
        int failures = 0;
        withEveryFault(
            {.error = EIO, .share = share, .among = call::writes | call::truncate | call::sync},
            [&] {
                put(fullMovie().movie());
                ImageWriter writer;
                const auto insist = [&](auto step) {
                    const std::string code = codeOf(step);
                    failures += code.empty() ? 0 : 1;
                    if (!code.empty())
                        step();
                };
                insist([&] { writer.modify(m_path); });
                insist([&] { writer.replaceFrame(other.data(), 1, timeval{11, 0}, 0.5F); });
                insist([&] { writer.addFrame(frames[1].data(), 16, timeval{13, 0}, 0.5F); });
                insist([&] { writer.close(); });
            },
            [&](const std::string& code) {
                EXPECT_EQ(code, "");
                EXPECT_EQ(file(), result);
                EXPECT_FALSE(QFile::exists(m_path + QStringLiteral("-journal")));
            });
        EXPECT_GT(failures, 10);
    }
}

TEST_F(Editing, FailedAttributesAreTheOldOnes)
{
    const std::string before = fullMovie().movie();
    for (const char* comment : {"a comment that is longer than the one before", "d", ""}) {
        const std::string after = fullMovie().attribute("comment", comment).movie();
        for (const int error : {EIO, ENOSPC}) {
            for (const Share share : {Share::Nothing, Share::Half, Share::AllButOne}) {
                int failures = 0;
                withEveryFault(
                    {.error = error, .share = share},
                    [&] {
                        put(before);
                        ImageReader reader(m_path);
                        reader.attributeChunk().set(QStringLiteral("comment"), QString::fromUtf8(comment));
                        ImageWriter().modifyAttribute(m_path, reader.attributeChunk());
                    },
                    [&](const std::string& code) {
                        failures += code.empty() ? 0 : 1;
                        const std::string left = file();
                        EXPECT_TRUE(left == after || (!code.empty() && left == before)) << code;
                        ImageWriter::undoInterruptedEdit(m_path);
                        EXPECT_EQ(file(), left);
                        EXPECT_FALSE(QFile::exists(m_path + QStringLiteral("-journal")));
                    });
                EXPECT_GT(failures, 5);
            }
        }
    }
}

TEST_F(Editing, WorksBeyondTwoGigabytes)
{
    constexpr std::int64_t half = 1 << 30;
    const std::string info = MovieBuilder()
                                 .record(2, 0, half)
                                 .record(2, half + 32, half)
                                 .record(2, 2U * (half + 32), 16)
                                 .frameFormat(4, 2, 5, 16)
                                 .infoPayload();
    {
        const Descriptor file(m_path, O_RDWR | O_CREAT);
        const std::string start = withBytes(chunk(2, "").substr(0, 16), 10, wordBigEndian(half));
        const std::string end = withBytes(chunk(2, "").substr(16), 10, wordBigEndian(half));
        for (const std::int64_t at : {std::int64_t{0}, half + 32}) {
            file.put(at, start);
            file.put(at + 16 + half, end);
        }
        file.put(2 * (half + 32), chunk(2, frames[0]) + chunk(5, info));
    }
    ImageWriter writer;
    writer.modify(m_path);
    EXPECT_EQ(writer.roomLeft(), 0U);
    EXPECT_EQ(codeOf([&] { writer.addFrame(frames[1].data(), 0.5F); }), "FDCW_AC_WRITE")
        << "no common reader reaches it";
    writer.setSizeLimit(4294967295U);
    EXPECT_GT(writer.roomLeft(), 2'100'000'000U);
    writer.addFrame(frames[1].data(), 0.5F);
    writer.replaceFrame(other.data(), 2, 0.25F);
    writer.setFirstFrame(2);
    writer.close();

    ImageReader reader(m_path);
    EXPECT_EQ(reader.nbFrames(), 4);
    for (const std::string& expected : {other, frames[1]}) {
        const void* data = nullptr;
        ASSERT_TRUE(reader.nextFrame(data));
        EXPECT_EQ(std::string(static_cast<const char*>(data), 16), expected);
    }
}

} // namespace

} // namespace zd
