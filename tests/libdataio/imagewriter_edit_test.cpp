#include <libdataio/imagewriter.h>

#include <libdataio/imagereader.h>
#include <libdataio/movielock.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>

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
    std::string edited(const std::string& bytes, const std::function<void(ImageWriter&)>& edit, bool sound = true)
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
        if (sound)
            walkMovie(file());
        return file();
    }

    /// Tries to edit a movie of these bytes, and checks that the refusal leaves no trace.
    template <typename Edit>
    std::string refusal(const std::string& bytes, Edit edit)
    {
        put(bytes);
        std::string code;
        {
            ImageWriter writer;
            code = codeOf([&] { edit(writer); });
            EXPECT_FALSE(writer.isOpen());
        }
        EXPECT_EQ(file(), bytes);
        EXPECT_EQ(QDir(m_directory.path("")).entryList(QDir::Files), QStringList(QStringLiteral("movie.vqf")));
        return code;
    }
    std::string refusal(const std::string& bytes)
    {
        return refusal(bytes, [this](ImageWriter& writer) { writer.modify(m_path); });
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

/// Movies of one-byte frames "0", "1", ... with as many times and some laser powers.
std::string numberedMovie(char count, char powerCount)
{
    MovieBuilder movie;
    std::string powerBytes;
    std::string timerBytes;
    for (char i = 0; i < count; ++i) {
        movie.frame(std::string(1, static_cast<char>('0' + i)));
        timerBytes += timeBytes(100 + i, 0);
        if (i < powerCount)
            powerBytes.push_back(static_cast<char>('0' + i));
    }
    movie.chunk(7, timerBytes).attribute("endian", "2");
    return powerCount == 0 ? movie.movie() : movie.chunk(8, powerBytes).movie();
}

TEST_F(Editing, ReordersFramesAndLaserPowers)
{
    const auto order = [this](char frameCount, char powerCount, auto arrange) {
        const std::string before = numberedMovie(frameCount, powerCount);
        const std::string after = edited(before, arrange);
        std::string frameOrder;
        for (const std::string& frame : framesOf(after))
            frameOrder += frame;
        for (const WalkedChunk& chunk : walkMovie(after)) {
            if (chunk.type == 7) {
                EXPECT_NE(before.find(chunk.payload), std::string::npos) << "times stay";
            }
            if (chunk.type == 8 && chunk.payload.size() == frameOrder.size()) {
                EXPECT_EQ(chunk.payload, frameOrder);
            }
        }
        return frameOrder;
    };
    const auto organized = [&](unsigned int first, unsigned int size) {
        return order(10, 10, [=](ImageWriter& writer) { writer.organizeIndex(first, size); });
    };
    const auto started = [&](char frameCount, char powerCount, unsigned int first) {
        return order(frameCount, powerCount, [=](ImageWriter& writer) { writer.setFirstFrame(first); });
    };
    EXPECT_EQ(organized(3, 6), "3450126789");
    EXPECT_EQ(organized(1, 9), "1234567809");
    EXPECT_EQ(organized(0, 0), "0123456789");
    EXPECT_EQ(organized(0, 4'000'000'000U), "0123456789");
    EXPECT_EQ(started(5, 5, 3), "34012");
    EXPECT_EQ(started(5, 5, 0), "01234");
    EXPECT_EQ(started(5, 0, 2), "23401");
    EXPECT_EQ(order(5, 0, [](ImageWriter& writer) { writer.organizeIndex(1, 3); }), "12034");
    EXPECT_EQ(started(0, 0, 7), "");
    EXPECT_EQ(order(0, 0, [](ImageWriter& writer) { writer.organizeIndex(3, 2); }), "");

    EXPECT_EQ(order(10, 10,
                    [](ImageWriter& writer) {
                        const unsigned int bad[][2] = {{3, 10}, {3, 3}, {10, 5}, {5, 4}, {4'000'000'000U, 5}};
                        for (const auto& arguments : bad)
                            EXPECT_EQ(codeOf([&] { writer.organizeIndex(arguments[0], arguments[1]); }), "IW_IO_INDEX");
                        EXPECT_EQ(codeOf([&] { writer.setFirstFrame(10); }), "IW_SFF_BOUND");
                        EXPECT_EQ(codeOf([&] { writer.setFirstFrame(4'000'000'000U); }), "IW_SFF_BOUND");
                    }),
              "0123456789");
    EXPECT_EQ(order(3, 2,
                    [](ImageWriter& writer) {
                        EXPECT_EQ(codeOf([&] { writer.setFirstFrame(0); }), "IW_SFF_BOUND");
                        EXPECT_EQ(codeOf([&] { writer.organizeIndex(1, 2); }), "IW_IO_INDEX");
                    }),
              "102")
        << "the frames moved all the same";
    EXPECT_EQ(walkMovie(file())[4].payload, "01");

    const std::string moved = edited(fullMovie().movie(), [](ImageWriter& writer) { writer.setFirstFrame(2); });
    EXPECT_EQ(framesOf(edited(moved, [](ImageWriter& writer) { writer.replaceFrame(other.data(), 0, 0.5F); })),
              (std::vector<std::string>{other, frames[0], frames[1]}))
        << "the frame that lies last is the first";
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
    for (const std::string& bytes :
         {std::string(), std::string("short"), bareMovie().unfinished(), fullMovie().movie() + chunk(2, frames[0]),
          word(0) + chunk(5, "").substr(16)}) // it would begin before the file
        EXPECT_EQ(refusal(bytes), "FDCW_MODIFY");
    EXPECT_EQ(refusal(std::string(40, 'x')), "CHB_LFD_PARSE");

    EXPECT_EQ(refusal(fullMovie().attribute("endian", "1").movie()), "FDCW_MODIFY1");
    EXPECT_EQ(refusal(fullMovie().attribute("endian", "two").movie()), "FDCW_MODIFY1");
    EXPECT_EQ(refusal(MovieBuilder().frame(frames[0]).movie()), "FDCW_MODIFY1");

    EXPECT_EQ(refusal(bareMovie().chunk(6, fibers).chunk(8, powers).chunk(7, times).movie()), "FDCW_MODIFY2");
    EXPECT_EQ(refusal(bareMovie().chunk(7, times).chunk(6, fibers).chunk(8, powers).movie()), "FDCW_MODIFY3");
    EXPECT_EQ(refusal(bareMovie().chunk(6, fibers).frame(other).chunk(7, times).movie()), "FDCW_MODIFY4");
    EXPECT_EQ(refusal(MovieBuilder().chunk(6, fibers).attribute("endian", "2").movie()), "IW_ARFCI_INFO2");
}

TEST_F(Editing, RefusesDamage)
{
    const std::string whole = fullMovie().movie();
    const std::vector<WalkedChunk> chunks = walkMovie(whole);
    EXPECT_EQ(refusal(withBytes(whole, chunks.back().offset + 16, "\xFF")), "CI_L_CHUNK");
    EXPECT_EQ(refusal(fullMovie().bytes("foreign bytes, 22 long").movie()), "CHB_LFD_PARSE");
    for (std::size_t i = 3; i < chunks.size(); ++i) {
        const std::size_t start = chunks[i].offset;
        for (const auto& [at, byte] : {std::pair(2, "X"), {9, "\x02"}, {13, "\x01"}}) // mark, type, size
            EXPECT_EQ(refusal(withBytes(whole, start + static_cast<std::size_t>(at), byte)), "CHB_LFD_PARSE") << start;
    }
    // An end header that claims more reaches into frames: what would be cut is no chunk.
    EXPECT_EQ(refusal(withBytes(bareMovie().chunk(6, fibers).movie(), 144 + 24 + 13, "\x30")), "CHB_LFD_PARSE");
}

TEST_F(Editing, NeverWritesOverWhatIsNoSuchFrame)
{
    // The header inside the last frame agrees with the index, but its chunk would reach into the side data.
    const std::string reaching = chunk(2, "").substr(0, 10) + wordBigEndian(4000) + ">\n" + std::string(16, 'p');
    const MovieBuilder liars[] = {
        bareMovie().record(2, 0, 0x00100000),                // longer than the frame
        bareMovie().record(2, 4, 16),                        // no chunk begins there
        bareMovie().record(2, 1'000'000, 16),                // beyond the end
        bareMovie().record(2, 0xFFFFFFFF, ~0U),              // ends beyond 32 bits
        bareMovie().chunk(99, frames[0]).record(2, 144, 16), // another type
        bareMovie().chunk(3, reaching).record(2, 160, 4000),
    };
    for (const MovieBuilder& liar : liars) {
        EXPECT_EQ(edited(
                      liar.movie(),
                      [this](ImageWriter& writer) {
                          const std::string open = file();
                          EXPECT_EQ(codeOf([&] { writer.replaceFrame(other.data(), 3, 0.5F); }), "CHB_LFD_PARSE");
                          EXPECT_EQ(file(), open);
                      },
                      false),
                  liar.movie());
    }

    // A chunk from which bytes are missing: its whole length would reach into what is recorded behind it.
    const MovieBuilder cut =
        MovieBuilder().bytes(chunk(2, frames[0]).erase(20, 9)).record(2, 0, 16).attribute("endian", "2");
    put(cut.movie());
    ImageWriter writer;
    writer.modify(m_path);
    writer.addFrame(frames[1].data(), 16, -1.0F);
    EXPECT_EQ(codeOf([&] { writer.replaceFrame(other.data(), 0, -1.0F); }), "CHB_LFD_PARSE");
    writer.close();
    EXPECT_EQ(file(), MovieBuilder(cut).frame(frames[1]).chunk(8, "\xFF").movie());
    // One whose end header alone is damaged is mended.
    const std::string whole = bareMovie().movie();
    const auto replaced = [this](const std::string& bytes) {
        return edited(bytes, [](ImageWriter& editor) { editor.replaceFrame(other.data(), 1, -1.0F); });
    };
    EXPECT_EQ(replaced(withBytes(whole, 85, "?")), replaced(whole));
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
    EXPECT_EQ(refusal(file()), "FDCW_MODIFY1");
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
    const auto replace = [this](ImageWriter& writer) { writer.modifyAttribute(m_path, AttributeChunk()); };
    const std::string whole = fullMovie().movie();
    EXPECT_EQ(refusal("", replace), "FDCW_MODIFY");
    EXPECT_EQ(refusal(bareMovie().unfinished(), replace), "FDCW_MODIFY");
    EXPECT_EQ(refusal(withoutTail(whole, 1), replace), "CHB_LFD_PARSE");
    EXPECT_EQ(refusal(withBytes(whole, fullMovie().end() + 16, "\xFF"), replace), "CI_L_CHUNK");
    EXPECT_EQ(refusal(withBytes(whole, whole.size() - 3, "\x01"), replace), "CHB_LFD_PARSE") << "the chunk's size";
    EXPECT_EQ(codeOf([&] { ImageWriter().modifyAttribute(m_directory.path("no/folder"), AttributeChunk()); }),
              "FW_OF_OPEN2");
}

TEST_F(Editing, RefusesWhatCannotBeReadWhole)
{
    const auto replace = [this](ImageWriter& writer) { writer.modifyAttribute(m_path, AttributeChunk()); };
    const auto modify = [this](ImageWriter& writer) { writer.modify(m_path); };
    const std::string shortRead = described("FDCW_PC_READ", EIO);
    // Reads of an info chunk: end header, payload, start header; the laser powers' follow.
    const std::pair<int, std::function<void(ImageWriter&)>> edits[] = {{2, modify}, {2, replace}, {5, modify}};
    for (const auto& [payloadRead, edit] : edits) {
        put(fullMovie().movie());
        ImageWriter writer;
        const auto run = [&, at = payloadRead, &edit = edit] {
            const Faults nothingComes({.at = at, .error = 0, .lasting = true, .among = call::read});
            edit(writer);
        };
        EXPECT_EQ(reportOf(run), shortRead) << payloadRead;
        EXPECT_FALSE(writer.isOpen());
        EXPECT_EQ(file(), fullMovie().movie());
    }

    const Faults none({.at = 1, .error = EMFILE, .lasting = true, .among = call::open});
    put(fullMovie().movie());
    EXPECT_EQ(reportOf([&] { ImageWriter().modify(m_path); }),
              "FW_OF_OPEN2: File " + m_path.toStdString() + " : " + std::strerror(EMFILE));
}

TEST_F(Editing, AFileThatMayNotGrowCanBeCut)
{
    const std::string bytes = fullMovie().movie();
    put(bytes);
    ImageWriter writer;
    {
        const FileSizeLimit lessThanThereIs(bytes.size() - 1);
        EXPECT_EQ(codeOf([&] { writer.modify(m_path); }), "");
        EXPECT_EQ(file(), bareMovie().unfinished());
    }
    writer.close();
    EXPECT_EQ(file(), bytes);
    const FileSizeLimit noGrowth(bytes.size());
    AttributeChunk shorter;
    shorter.set(QStringLiteral("endian"), 2);
    EXPECT_EQ(codeOf([&] { writer.modifyAttribute(m_path, shorter); }), "");
    EXPECT_LT(file().size(), bytes.size());
}

TEST_F(Editing, AFullDiskIsNoticedBeforeTheHeaderChanges)
{
    put(fullMovie().movie());
    Faults full({.at = 1, .error = ENOSPC, .among = call::allocate});
    EXPECT_EQ(codeOf([&] { ImageWriter().modifyAttribute(m_path, AttributeChunk()); }), "FDCW_AC_WRITE");
    EXPECT_EQ(full.calls(call::writes), 4) << "those of the journal";
    EXPECT_EQ(file(), fullMovie().movie());
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

TEST_F(Editing, ALockedMovieIsLeftToItsWriter)
{
    put(fullMovie().movie());
    ImageWriter owner;
    ImageWriter guest;
    EXPECT_TRUE(guest.locking());
    owner.modify(m_path);
    const std::string open = file();
    EXPECT_EQ(codeOf([&] { guest.create(m_path, true); }), "FW_OF_OPEN");
    EXPECT_EQ(codeOf([&] { guest.modify(m_path); }), "FW_OF_OPEN2");
    EXPECT_EQ(codeOf([&] { guest.modifyAttribute(m_path, AttributeChunk()); }), "FW_OF_OPEN2");
    EXPECT_FALSE(MovieLock::tryLock(m_path));
    EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path));
    EXPECT_EQ(file(), open);
    owner.close();
    EXPECT_EQ(file(), fullMovie().movie());
    owner.create(m_path, false);
    owner.addFrame("recorded", 8, 0.5F);
    EXPECT_EQ(codeOf([&] { guest.create(m_path, true); }), "FW_OF_OPEN");
    EXPECT_EQ(file(), chunk(2, "recorded")) << "nothing is cut before the lock is held";
    qputenv("DATAIO_LOCKING", "0");
    EXPECT_EQ(codeOf([&] { guest.create(m_path, true); }), "");
    qunsetenv("DATAIO_LOCKING");
}

TEST_F(Editing, AProgramLooksAndChangesUnderOneLock)
{
    put(fullMovie().movie());
    {
        ImageWriter writer;
        std::optional<MovieLock> held = MovieLock::tryLock(m_path);
        ASSERT_TRUE(held && held->isHeld());
        EXPECT_EQ(codeOf([&] { writer.modify(m_path); }), "FW_OF_OPEN2") << "the lock is not its own";
        writer.useLock(*held);
        writer.modify(m_path);
        held.reset();
        EXPECT_FALSE(MovieLock::tryLock(m_path)) << "until the movie is closed";
        writer.close();
        held = MovieLock::tryLock(m_path);
        ASSERT_TRUE(held && held->isHeld());
        EXPECT_EQ(codeOf([&] { writer.modify(m_path); }), "FW_OF_OPEN2") << "another lock";
        writer.useLock(*held);
        put(fullMovie().movie());
        const QString another = m_directory.path("other.vqf");
        writeFile(another, fullMovie().movie());
        ASSERT_EQ(std::rename(another.toUtf8().constData(), m_path.toUtf8().constData()), 0);
        writer.modify(m_path);
        EXPECT_FALSE(MovieLock::tryLock(m_path)) << "another movie under that name is locked as ever";
        writer.close();
    }
    const std::optional<MovieLock> none = MovieLock::tryLock(m_directory.path("none.vqf"));
    EXPECT_TRUE(none && !none->isHeld());
}

TEST_F(Editing, RollsBackToTheOldBytes)
{
    const std::string before = fullMovie().movie();
    put(before);
    ImageWriter writer;
    EXPECT_FALSE(writer.rollBack()) << "nothing is open";
    writer.modify(m_path);
    writer.setComment(QStringLiteral("given up"));
    writer.replaceFrame(other.data(), 1, 0.25F);
    writer.addFrame(other.data(), 0.5F);
    EXPECT_TRUE(writer.rollBack());
    EXPECT_FALSE(writer.isOpen());
    EXPECT_EQ(file(), before);
    EXPECT_EQ(QDir(m_directory.path("")).entryList(QDir::Files), QStringList(QStringLiteral("movie.vqf")));

    writer.setJournaled(false);
    writer.modify(m_path);
    EXPECT_FALSE(writer.rollBack()) << "there is nothing to roll back by";
    EXPECT_TRUE(writer.isOpen());
}

} // namespace

} // namespace zd
