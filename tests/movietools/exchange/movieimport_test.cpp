#include <common/zdpalette.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <libdataio/recordingremains.h>
#include <movietools/exchange/movieimport.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/checksum.h>
#include <movietools/verify/addchecksums.h>
#include <movietools/verify/verify.h>
#include <tests/support/jobproblem.h>
#include <tests/support/moviebytes.h>
#include <tests/support/tiffstack.h>

#include <QDir>

#include <gmock/gmock.h>

namespace zd::movietools {
namespace {

using test::StackForm;
using test::TemporaryDirectory;
using testing::HasSubstr;

constexpr std::uint32_t width = 37;
constexpr std::uint32_t height = 21;

std::vector<std::string> testPages(const StackForm& form, unsigned count, unsigned first = 0)
{
    std::vector<std::string> pages;
    for (unsigned page = first; page < first + count; ++page)
        pages.push_back(test::testPixels(std::size_t{width} * height * form.channels * form.bits / 8, page));
    return pages;
}

ImportResult import(const TemporaryDirectory& directory, const QStringList& stacks)
{
    ImportOptions options;
    options.stacks = stacks;
    options.movie = directory.path("movie.vqf");
    return importMovie(options, {});
}

// The problem that an import reports; also checks that it left nothing behind.
std::string problemOf(const TemporaryDirectory& directory, const QStringList& stacks)
{
    const QDir folder(directory.path(""));
    const QStringList before = folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    std::string problem = "nothing was reported";
    try {
        import(directory, stacks);
    } catch (const JobError& error) {
        problem = error.problem.toStdString();
        EXPECT_TRUE(stacks.contains(error.path));
        EXPECT_FALSE(error.advice.isEmpty());
    }
    EXPECT_EQ(folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot), before);
    return problem;
}

std::string frameBytes(ImageReader& movie, unsigned frame)
{
    const void* data = nullptr;
    if (!movie.getFrame(data, frame))
        return "no such frame";
    return {static_cast<const char*>(data), static_cast<std::size_t>(movie.frameSize())};
}

TEST(MovieImport, KeepsEveryPixelInEveryForm)
{
    struct Case {
        StackForm form;
        ZDImagePixelType type;
    };
    const std::vector<Case> cases{
        {{.bits = 8}, ZD_UCHAR},
        {{.bits = 8, .format = 2, .compression = 5}, ZD_CHAR},
        {{.bits = 16, .compression = 8, .mode = "wb"}, ZD_USHORT},
        {{.bits = 16, .format = 2, .mode = "w8"}, ZD_SHORT},
        {{.bits = 32, .compression = 8, .tile = 16}, ZD_UINT},
        {{.bits = 32, .format = 2, .compression = 32773, .mode = "wb8"}, ZD_INT},
        {{.bits = 32, .format = 3, .mode = "wb", .tile = 32}, ZD_FLOAT},
        {{.bits = 64, .format = 3, .compression = 5, .mode = "wb"}, ZD_DOUBLE},
        {{.channels = 3, .photometric = 2, .compression = 5}, ZD_RGB},
        {{.channels = 3, .photometric = 2, .compression = 8, .separate = true}, ZD_RGB},
        {{.channels = 4, .photometric = 2, .tile = 16}, ZD_RGBA},
        {{.channels = 4, .photometric = 2, .tile = 16, .separate = true}, ZD_RGBA},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.type);
        const TemporaryDirectory directory;
        const std::vector<std::string> pages = testPages(one.form, 3);
        test::writeStack(directory.path("stack.tif"), one.form, width, height, pages);

        const ImportResult result = import(directory, {directory.path("stack.tif")});
        EXPECT_EQ(result.frames, 3U);
        EXPECT_EQ(result.type, one.type);
        EXPECT_EQ(result.bytes, test::readFile(directory.path("movie.vqf")).size());

        ImageReader movie(directory.path("movie.vqf"));
        int pixels = 0;
        ZDImagePixelType type = ZD_UNKNOWN;
        EXPECT_TRUE(movie.width(pixels) && pixels == 37);
        EXPECT_TRUE(movie.height(pixels) && pixels == 21);
        EXPECT_TRUE(movie.pixType(type) && type == one.type);
        EXPECT_TRUE(movie.getFrameTimer().empty());
        ASSERT_EQ(movie.nbFrames(), 3);
        for (unsigned frame = 0; frame < 3; ++frame)
            EXPECT_TRUE(frameBytes(movie, frame) == pages[frame]) << "frame " << frame;
    }
}

TEST(MovieImport, TakesWhatJpegDecodesToButNothingMadeUp)
{
    for (const StackForm& form :
         {StackForm{.compression = 7}, StackForm{.channels = 3, .photometric = 6, .compression = 7}}) {
        const TemporaryDirectory directory;
        const QString stack = directory.path("stack.tif");
        test::writeStack(stack, form, width, height, testPages(form, 2));
        EXPECT_EQ(import(directory, {stack}).type, form.channels == 1 ? ZD_UCHAR : ZD_RGB);
        ImageReader movie(directory.path("movie.vqf"));
        EXPECT_TRUE(frameBytes(movie, 1) == test::readStack(stack)[1].pixels);
        QFile::remove(directory.path("movie.vqf"));

        // The decoder fills up the rest of a strip that ends early, here by a marker in the middle of it.
        std::string bytes = test::readFile(stack);
        const std::size_t scan = bytes.find("\xFF\xDA");
        ASSERT_NE(scan, std::string::npos);
        test::writeFile(stack, bytes.replace(scan + 40, 2, "\xFF\xD9"));
        EXPECT_THAT(problemOf(directory, {stack}), HasSubstr("page 1 cannot be read"));
    }
}

TEST(MovieImport, RecordsTimesPowersAndAttributes)
{
    const TemporaryDirectory directory;
    const StackForm form{.bits = 8, .photometric = 0};
    const std::vector<std::string> pages = testPages(form, 3);
    test::writeStack(directory.path("a.tif"), form, width, height, {pages[0], pages[1]});
    test::writeStack(directory.path("b.tif"), {.bits = 8, .photometric = 0, .compression = 8}, width, height,
                     {pages[2]});
    ImportOptions options;
    options.stacks = QStringList{directory.path("a.tif"), directory.path("b.tif")};
    options.movie = directory.path("movie.vqf");
    options.frameRate = 12;
    options.times = {{10, 5}, {10, 6}, {2147483647, 999999}};
    options.laserPowers = {0, -1, 1};
    options.attributes = {{QStringLiteral("operator"), QStringLiteral("Curie")}};
    options.comment = QStringLiteral("two\nlines");
    options.checksums = true;
    std::vector<std::uint64_t> done;
    importMovie(options, [&](const Progress& progress) {
        done.push_back(progress.framesDone * 1000 + progress.framesTotal);
        return true;
    });
    EXPECT_EQ(done, (std::vector<std::uint64_t>{1, 2, 3, 1003, 2003, 3003}));

    ImageReader movie(options.movie);
    ZdPalette palette;
    float power = -7;
    int delay = 0;
    QString text;
    EXPECT_EQ(movie.getFrameTimer(), (FrameTimer{{10, 5}, {10, 6}, {2147483647, 999999}}));
    EXPECT_TRUE(movie.getLaserPower(0, power) && power == 0);
    EXPECT_FALSE(movie.getLaserPower(1, power));
    EXPECT_TRUE(movie.getLaserPower(2, power) && power == 1);
    EXPECT_TRUE(movie.frameDelay(delay) && delay == 83);
    EXPECT_TRUE(movie.attribute(QStringLiteral("operator"), text) && text == QStringLiteral("Curie"));
    EXPECT_EQ(movie.getComment(), QStringLiteral("two\nlines"));
    EXPECT_EQ(frameBytes(movie, 2), pages[2]);
    ASSERT_TRUE(movie.palette(palette)); // from white at 0 to black at 255, as the stack shows it
    EXPECT_EQ(palette.cropMin, 0);
    EXPECT_EQ(palette.cropMax, 255);
    EXPECT_EQ(palette.first().r, 1);
    EXPECT_EQ(palette.last().r, 0);
    movie.close();
    EXPECT_EQ(verifyMovie(options.movie).framesWithChecksum, 3U);
    EXPECT_EQ(addChecksums(options.movie, false), ChecksumsAdded::AlreadyThere) << "the same as those added afterwards";

    { // what a recording of that name left behind belongs to the movie that is replaced
        ImageWriter recording;
        recording.setRecordingLog(true);
        recording.create(directory.path("dying.vqf"), true);
        recording.addFrame("data", 4, 1);
        QFile::copy(directory.path("dying.vqf-log"), directory.path("movie.vqf-log"));
        ASSERT_TRUE(RecordingRemains::of(options.movie).hasLog);
    }
    options.replace = true;
    options.times.clear();
    options.start = timeval{100, 500000};
    options.frameRate = 3;
    options.laserPowers.clear();
    options.laserPower = 0.5F;
    options.checksums = false;
    importMovie(options, {});
    movie.open(options.movie);
    EXPECT_FALSE(movie.attribute(checksumAttribute, text));
    EXPECT_FALSE(RecordingRemains::of(options.movie).hasLog);
    EXPECT_EQ(movie.getFrameTimer(), (FrameTimer{{100, 500000}, {100, 833333}, {101, 166667}}));
    EXPECT_TRUE(movie.getLaserPower(2, power) && power == 0.5F);
    EXPECT_TRUE(movie.frameDelay(delay) && delay == 333);

    const std::string before = test::readFile(options.movie);
    const auto problem = [&options] { return test::jobProblem([&options] { importMovie(options, {}); }); };
    options.laserPowers = {1};
    EXPECT_EQ(problem(), "would have 3 frames, and there are 1 laser powers");
    options.laserPowers.clear();
    options.start = timeval{2147483647, 0};
    options.frameRate = 0.5;
    EXPECT_EQ(problem(), "would have a frame after 2038, which movies cannot date");
    EXPECT_THROW(importMovie(options, [](const Progress&) { return false; }), JobCancelled);
    EXPECT_TRUE(test::readFile(options.movie) == before);
}

TEST(MovieImport, RefusesWhatMoviesCannotHold)
{
    struct Case {
        StackForm form;
        const char* problem;
    };
    const std::vector<Case> cases{
        {{.bits = 1}, "page 1 has 1-bit samples"},
        {{.bits = 4}, "page 1 has 4-bit samples"},
        {{.bits = 64}, "page 1 has 64-bit samples"},
        {{.bits = 16, .format = 3}, "page 1 has 16-bit float samples"},
        {{.bits = 32, .format = 5}, "page 1 has 32-bit complex samples"},
        {{.photometric = 3}, "page 1 shows its samples through a colour table"},
        {{.bits = 16, .channels = 3, .photometric = 2}, "page 1 has 3 channels of 16-bit samples"},
        {{.channels = 2}, "page 1 has 2 channels of 8-bit samples"},
        {{.channels = 3, .photometric = 8}, "page 1 has colours of another kind than grey and RGB"},
        {{.orientation = 4}, "page 1 is stored turned or mirrored"},
        {{.description = "ImageJ=1.54f\nimages=300\n"}, "nothing was reported"},
    };
    for (const Case& one : cases) {
        const TemporaryDirectory directory;
        test::writeStack(directory.path("stack.tif"), one.form, 8, 2,
                         {std::string(16U * one.form.channels * one.form.bits / 8, 'x')});
        if (one.problem == std::string("nothing was reported"))
            EXPECT_EQ(import(directory, {directory.path("stack.tif")}).frames, 1U);
        else
            EXPECT_EQ(problemOf(directory, {directory.path("stack.tif")}), one.problem);
    }

    const TemporaryDirectory directory;
    const StackForm bytes{.bits = 8};
    test::writeStack(directory.path("a.tif"), bytes, width, height, testPages(bytes, 2));
    test::writeStack(directory.path("b.tif"), bytes, height, width, testPages(bytes, 1));
    test::writeStack(directory.path("c.tif"), {.bits = 8, .photometric = 0}, width, height, testPages(bytes, 1));
    EXPECT_EQ(problemOf(directory, {directory.path("a.tif"), directory.path("b.tif")}),
              "page 1 is 21 x 37, 8-bit unsigned, but the pages before it are 37 x 21, 8-bit unsigned");
    EXPECT_EQ(problemOf(directory, {directory.path("a.tif"), directory.path("c.tif")}),
              "page 1 is 37 x 21, 8-bit unsigned, white is zero, but the pages before it are 37 x 21, 8-bit unsigned");
    EXPECT_EQ(problemOf(directory, {directory.path("nothing.tif")}), "cannot be read: No such file or directory");
    QDir(directory.path("")).mkdir(QStringLiteral("empty"));
    EXPECT_EQ(problemOf(directory, {directory.path("empty")}), "holds no PNG or TIFF pictures");

    // A stack of many images of which only the first has a page.
    test::writeStack(directory.path("big.tif"), {.description = "ImageJ=1.54f\nimages=3\n"}, 8, 2,
                     {"sixteen bytes xx"});
    test::writeFile(directory.path("big.tif"), test::readFile(directory.path("big.tif")) + std::string(64, 'p'));
    EXPECT_EQ(problemOf(directory, {directory.path("big.tif")}), "keeps 3 images behind a single page");
}

TEST(MovieImport, FailsForStacksThatEndEarly)
{
    for (const StackForm& form : {StackForm{.bits = 16}, StackForm{.bits = 16, .compression = 8, .tile = 16}}) {
        const TemporaryDirectory directory;
        test::writeStack(directory.path("whole.tif"), form, width, height, testPages(form, 3));
        const std::string whole = test::readFile(directory.path("whole.tif"));
        for (std::size_t length = 0; length < whole.size(); length += 137) {
            test::writeFile(directory.path("cut.tif"), whole.substr(0, length));
            EXPECT_THAT(problemOf(directory, {directory.path("cut.tif")}), HasSubstr("cannot be read"))
                << length << " bytes of " << whole.size();
        }
    }
}

TEST(MovieImport, SurvivesDamagedStacks)
{
    const StackForm form{.bits = 16, .compression = 8, .mode = "wb"};
    const TemporaryDirectory directory;
    test::writeStack(directory.path("whole.tif"), form, width, height, testPages(form, 2));
    const std::string whole = test::readFile(directory.path("whole.tif"));
    // Pixels may change unnoticed, TIFF has no check sums; but every import ends in order.
    unsigned refused = 0;
    unsigned imported = 0;
    for (std::size_t place = 0; place < whole.size(); place += 5) {
        std::string damaged = whole;
        damaged[place] = static_cast<char>(damaged[place] ^ 0xFF);
        test::writeFile(directory.path("damaged.tif"), damaged);
        try {
            const ImportResult result = import(directory, {directory.path("damaged.tif")});
            EXPECT_EQ(ImageReader(directory.path("movie.vqf")).nbFrames(), static_cast<int>(result.frames));
            QFile::remove(directory.path("movie.vqf"));
            ++imported;
        } catch (const JobError& error) {
            EXPECT_EQ(error.path, directory.path("damaged.tif")) << error.problem.toStdString();
            ++refused;
        }
    }
    EXPECT_GT(refused, 100U);
    EXPECT_GT(imported, 10U);
}

} // namespace
} // namespace zd::movietools
