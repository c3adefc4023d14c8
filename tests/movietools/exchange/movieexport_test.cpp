#include <libdataio/imagewriter.h>
#include <movietools/exchange/movieexport.h>
#include <movietools/exchange/tiff/tiffwriter_p.h>
#include <movietools/job/joberror.h>
#include <tests/support/moviebytes.h>
#include <tests/support/tiffstack.h>

#include <QFile>

#include <gmock/gmock.h>

namespace zd::movietools {
namespace {

using test::TemporaryDirectory;

ExportResult exportFrames(const TemporaryDirectory& directory, const char* frames = "")
{
    ExportOptions options;
    options.movie = directory.path("movie.vqf");
    options.output = directory.path("stack.tif");
    options.replace = true;
    if (*frames != '\0')
        options.frames = *FrameSelection::parse(QString::fromLatin1(frames));
    return exportMovie(options, {});
}

std::string problemOf(const TemporaryDirectory& directory, const char* frames = "")
{
    try {
        exportFrames(directory, frames);
    } catch (const JobError& error) {
        EXPECT_EQ(error.path, directory.path("movie.vqf"));
        EXPECT_FALSE(QFile::exists(directory.path("stack.tif")));
        return error.problem.toStdString();
    }
    return "nothing was reported";
}

/// A movie of frames with these payloads, written out byte by byte.
void writeMovie(const TemporaryDirectory& directory, const std::vector<std::string>& frames,
                const std::string& attributes)
{
    std::string bytes;
    std::string index = test::word(static_cast<std::uint32_t>(frames.size()));
    for (const std::string& frame : frames) {
        index += test::word(2) + test::word(static_cast<std::uint32_t>(bytes.size())) +
                 test::word(static_cast<std::uint32_t>(frame.size()));
        bytes += test::chunk(2, frame);
    }
    test::writeFile(directory.path("movie.vqf"), bytes + test::chunk(5, index + attributes));
}

void setByte(const TemporaryDirectory& directory, std::size_t place, char value)
{
    std::string bytes = test::readFile(directory.path("movie.vqf"));
    bytes.at(place) = value;
    test::writeFile(directory.path("movie.vqf"), bytes);
}

std::string lostFrames(const ExportResult& result)
{
    std::string text;
    for (const LostFrame& lost : result.lost)
        text += std::to_string(lost.frame) + " " + lost.reason.toStdString() + "\n";
    return text;
}

TEST(MovieExport, WritesEveryPixelType)
{
    struct Case {
        ZDImagePixelType type;
        std::uint16_t bits, format, channels, photometric;
    };
    const std::vector<Case> cases{
        {ZD_FLOAT, 32, 3, 1, 1},  {ZD_DOUBLE, 64, 3, 1, 1}, {ZD_UCHAR, 8, 1, 1, 1}, {ZD_CHAR, 8, 2, 1, 1},
        {ZD_USHORT, 16, 1, 1, 1}, {ZD_SHORT, 16, 2, 1, 1},  {ZD_UINT, 32, 1, 1, 1}, {ZD_INT, 32, 2, 1, 1},
        {ZD_ULONG, 32, 1, 1, 1},  {ZD_LONG, 32, 2, 1, 1},   {ZD_RGB, 8, 1, 3, 2},   {ZD_RGBA, 8, 1, 4, 2},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.type);
        const TemporaryDirectory directory;
        std::vector<std::string> frames;
        ImageWriter writer;
        writer.create(directory.path("movie.vqf"), true);
        writer.width(7);
        writer.height(5);
        writer.pixType(one.type);
        writer.setComment(QStringLiteral("caf\u00e9\nau lait"));
        for (unsigned frame = 0; frame < 3; ++frame) {
            frames.push_back(test::testPixels(35U * one.bits / 8 * one.channels, frame));
            writer.addFrame(frames.back().data(), 0.5F);
        }
        writer.close();

        const ExportResult result = exportFrames(directory);
        EXPECT_EQ(result.frames, 3U);
        EXPECT_TRUE(result.lost.empty());
        EXPECT_FALSE(result.bigTiff);
        EXPECT_EQ(result.bytes, test::readFile(directory.path("stack.tif")).size());
        const std::vector<test::StackPage> pages = test::readStack(directory.path("stack.tif"));
        ASSERT_EQ(pages.size(), 3U);
        for (std::size_t page = 0; page < 3; ++page) {
            EXPECT_EQ(pages[page].width, 7U);
            EXPECT_EQ(pages[page].height, 5U);
            EXPECT_EQ(pages[page].bits, one.bits);
            EXPECT_EQ(pages[page].format, one.format);
            EXPECT_EQ(pages[page].channels, one.channels);
            EXPECT_EQ(pages[page].photometric, one.photometric);
            EXPECT_TRUE(pages[page].pixels == frames[page]);
            EXPECT_EQ(pages[page].description, page == 0 ? "caf\xc3\xa9\nau lait" : "");
            EXPECT_EQ(pages[page].software, page == 0 ? "DataIO vqf" : "");
        }
    }
}

TEST(MovieExport, TakesTheFramesAskedFor)
{
    const TemporaryDirectory directory;
    writeMovie(directory, {"aa", "bb", "cc", "dd", "ee"}, "width=2\nheight=1\npixbits=8\n");
    EXPECT_EQ(exportFrames(directory, "3:,0,1:4:2").frames, 5U);
    std::string pixels;
    for (const test::StackPage& page : test::readStack(directory.path("stack.tif")))
        pixels += page.pixels;
    EXPECT_EQ(pixels, "ddeeaabbdd");
    QFile::remove(directory.path("stack.tif"));
    EXPECT_EQ(problemOf(directory, "5"), "has no frame 5: it has 5 frames, counted from 0");

    // Samples in the other byte order are turned; 12 bits are held by 16.
    writeMovie(directory, {"abcd"}, "endian=1\nwidth=2\nheight=1\npixbits=12\npixtype=99\n");
    EXPECT_EQ(problemOf(directory), "does not say what its pixels are");
    writeMovie(directory, {"abcd", "ab"}, "endian=1\nwidth=2\nheight=1\npixbits=12\n");
    const ExportResult result = exportFrames(directory);
    EXPECT_EQ(result.type, ZD_USHORT);
    EXPECT_EQ(lostFrames(result), "1 has 2 of its 4 bytes\n");
    EXPECT_EQ(test::readStack(directory.path("stack.tif")).front().pixels, "badc");
}

TEST(MovieExport, LeavesOutWhatCannotBeReadAndTells)
{
    const TemporaryDirectory directory;
    const std::string header = "width=4\nheight=1\npixtype=3\n";
    writeMovie(directory, {"aaaa", "bb", "cccccc", "dddd", "eeee", "ffff"}, header);
    setByte(directory, 36 + 34 + 38 + 1, 'X');          // a mark of frame 3's start header
    setByte(directory, 36 + 34 + 38 + 36 + 9, '\x07');  // frame 4 becomes a chunk of another type
    setByte(directory, 36 + 34 + 38 + 36 + 36 + 13, 2); // frame 5's own header says two bytes
    const ExportResult result = exportFrames(directory);
    EXPECT_EQ(lostFrames(result), "1 has 2 of its 4 bytes\n"
                                  "2 has 2 bytes beyond its picture\n"
                                  "3 cannot be read: Cannot read chunk header, file may be corrupted\n"
                                  "4 is cut short or not where the movie's index says\n"
                                  "5 is cut short or not where the movie's index says\n");
    EXPECT_EQ(result.frames, 2U);
    const std::vector<test::StackPage> pages = test::readStack(directory.path("stack.tif"));
    ASSERT_EQ(pages.size(), 2U);
    EXPECT_EQ(pages[0].pixels + pages[1].pixels, "aaaacccc");
    QFile::remove(directory.path("stack.tif"));

    EXPECT_EQ(problemOf(directory, "3:5"),
              "has no frame that can be read; frame 3 cannot be read: Cannot read chunk header, file may be corrupted");
    writeMovie(directory, {"aaaa"}, "width=4\npixtype=3\n");
    EXPECT_EQ(problemOf(directory), "does not say how large its frames are");
    writeMovie(directory, {"aaaa"}, "width=4\nheight=-1\npixtype=3\n");
    EXPECT_EQ(problemOf(directory), "does not say how large its frames are");
    writeMovie(directory, {"aaaa"}, "width=2147483647\nheight=2147483647\npixtype=2\n");
    EXPECT_EQ(problemOf(directory), "claims frames of 2147483647 x 2147483647, larger than any movie");
    writeMovie(directory, {"aaaa"}, "width=65536\nheight=65535\npixtype=2\n");
    EXPECT_THAT(problemOf(directory), testing::AnyOf(testing::StartsWith("needs 34.36 GB"),
                                                     testing::HasSubstr("frame 0 has 4 of its 34359214080 bytes")));
    writeMovie(directory, {}, header);
    EXPECT_EQ(problemOf(directory), "has no frames");
    test::writeFile(directory.path("movie.vqf"), "no movie");
    EXPECT_EQ(problemOf(directory), "missing info, bad file format");
}

TEST(MovieExport, ChoosesBigTiffByTheComputedSize)
{
    constexpr std::uint64_t reach = 0xFFFFFFFF;
    EXPECT_FALSE(needsBigTiff(1, reach - 1024, 0));
    EXPECT_TRUE(needsBigTiff(1, reach - 1023, 0));
    EXPECT_TRUE(needsBigTiff(1, reach - 1024, 1));
    EXPECT_FALSE(needsBigTiff(4000, 1'000'000, 0));
    EXPECT_TRUE(needsBigTiff(4300, 1'000'000, 0));
}

} // namespace
} // namespace zd::movietools
