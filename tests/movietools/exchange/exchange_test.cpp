#include <common/zdpalette.h>
#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <movietools/exchange/movieexport.h>
#include <movietools/exchange/movieimport.h>
#include <tests/support/jobproblem.h>
#include <tests/support/moviebytes.h>
#include <tests/support/tiffstack.h>

#include <QDir>
#include <QFile>
#include <QImage>

#include <gmock/gmock.h>

namespace zd::movietools {
namespace {

using test::jobProblem;
using test::TemporaryDirectory;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int width = 20; // from here on videos have slices
constexpr int height = 16;

/// What a movie can hold: times to the microsecond, laser powers, a palette, fibres, and text that JSON and XML treat
/// in ways of their own.
void recordEverything(const QString& path, ZDImagePixelType type)
{
    ImageWriter writer;
    writer.create(path, false);
    writer.width(width);
    writer.height(height);
    writer.pixType(type);
    ZdPalette palette;
    palette.name = QStringLiteral("fire & ice");
    palette.cropMax = 200;
    palette.addColor(0, 0, 0, 0.25F);
    palette.addColor(1, 1, 0.5F, 0);
    writer.setPalette(palette);
    writer.setComment(QStringLiteral("caf\u00e9 <1>\n  & \"two\""));
    writer.attribute(QStringLiteral("odd <name> & \ttab"), QStringLiteral("a\\n%41\x01z\x85\rq"));
    writer.attribute(QStringLiteral("plug_gain"), 1.5F);
    writer.addRasterFiberContinuousIndexes({0.1F, 0.2F, 1.0F / 3, 2.7182817F, 4.9999995F, 3});
    const std::size_t bytes = std::size_t{width} * height * static_cast<std::size_t>(GetPixBits(type)) / 8;
    for (unsigned frame = 0; frame < 3; ++frame) {
        const timeval time{1'709'287'200 + static_cast<int>(frame), 123'456 + static_cast<int>(frame * frame)};
        writer.addFrame(test::testPixels(bytes, frame).data(), static_cast<int>(bytes), time,
                        frame == 1 ? -1.0F : 0.3F * static_cast<float>(frame));
    }
    writer.close();
}

ExportOptions exporting(const TemporaryDirectory& directory, ExchangeForm form, const char* output)
{
    ExportOptions options;
    options.movie = directory.path("movie.vqf");
    options.output = directory.path(output);
    options.form = form;
    return options;
}

ImportResult importFrom(const TemporaryDirectory& directory, const char* source)
{
    ImportOptions options;
    options.stacks = QStringList{directory.path(source)};
    options.movie = directory.path("again.vqf");
    options.replace = true;
    return importMovie(options, {});
}

QStringList namesIn(const TemporaryDirectory& directory)
{
    return QDir(directory.path("")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

struct FormCase {
    ExchangeForm form;
    const char* output;
};
const FormCase losslessForms[] = {
    {ExchangeForm::Tiff, "m.tif"}, {ExchangeForm::OmeTiff, "m.ome.tif"}, {ExchangeForm::PngPictures, "pngs"},
    {ExchangeForm::Raw, "m.raw"},  {ExchangeForm::TiffPictures, "tifs"}, {ExchangeForm::Npy, "m.npy"},
    {ExchangeForm::Mkv, "m.mkv"},
};

TEST(Exchange, BringsEveryMovieBackBitByBitInEveryLosslessForm)
{
    for (int type = ZD_FLOAT; type <= ZD_RGBA; ++type) {
        const int bits = GetPixBits(static_cast<ZDImagePixelType>(type));
        const bool fitsPictures = bits <= 16 || type == ZD_RGB || type == ZD_RGBA;
        for (const FormCase& one : losslessForms) {
            SCOPED_TRACE(testing::Message() << "type " << type << " as " << one.output);
            const TemporaryDirectory directory;
            recordEverything(directory.path("movie.vqf"), static_cast<ZDImagePixelType>(type));
            const ExportOptions options = exporting(directory, one.form, one.output);
            if (!fitsPictures && (one.form == ExchangeForm::PngPictures || one.form == ExchangeForm::Mkv)) {
                EXPECT_THAT(jobProblem([&] { exportMovie(options, {}); }), HasSubstr("cannot hold"));
                EXPECT_EQ(namesIn(directory), QStringList(QStringLiteral("movie.vqf")));
                continue;
            }
            EXPECT_EQ(exportMovie(options, {}).frames, 3U);
            EXPECT_EQ(importFrom(directory, one.output).frames, 3U);
            EXPECT_TRUE(test::readFile(directory.path("again.vqf")) == test::readFile(directory.path("movie.vqf")));
        }
    }
}

TEST(Exchange, KeepsWhatBelongsToTheChosenFrames)
{
    for (const FormCase& one : losslessForms) {
        SCOPED_TRACE(one.output);
        const TemporaryDirectory directory;
        recordEverything(directory.path("movie.vqf"), ZD_SHORT);
        ExportOptions options = exporting(directory, one.form, one.output);
        options.frames = *FrameSelection::parse(QStringLiteral("1:"));
        exportMovie(options, {});
        importFrom(directory, one.output);
        ImageReader movie(directory.path("again.vqf"));
        timeval time;
        float power = 0;
        EXPECT_EQ(movie.nbFrames(), 2);
        EXPECT_TRUE(movie.getFrameTiming(0, time) && time == (timeval{1'709'287'201, 123'457}));
        EXPECT_FALSE(movie.getLaserPower(0, power));
        EXPECT_TRUE(movie.getLaserPower(1, power));
        EXPECT_EQ(power, 152 / 254.0F);

        // The same in another order: its times run back, and a movie's do not.
        options.frames = *FrameSelection::parse(QStringLiteral("2,0"));
        options.replace = true;
        exportMovie(options, {});
        EXPECT_THAT(jobProblem([&] { importFrom(directory, one.output); }), StartsWith("has times that run back"));
    }
}

TEST(Exchange, LeavesOutLostFramesWithTheirTimes)
{
    const TemporaryDirectory directory;
    std::string movie = test::richMovie();
    movie[48] = 'X'; // the start header of frame 1
    test::writeFile(directory.path("movie.vqf"), movie);
    for (const FormCase& one : losslessForms) {
        SCOPED_TRACE(one.output);
        const ExportResult result = exportMovie(exporting(directory, one.form, one.output), {});
        EXPECT_EQ(result.frames, 2U);
        ASSERT_EQ(result.lost.size(), 1U);
        EXPECT_EQ(result.lost[0].frame, 1U);
        EXPECT_EQ(importFrom(directory, one.output).frames, 2U);
        ImageReader again(directory.path("again.vqf"));
        timeval time;
        EXPECT_TRUE(again.getFrameTiming(1, time) && time == (timeval{1'700'000'002, 999'999}));
    }
}

// Expected samples computed by hand from samples 0, 50, 100 and 250 and the palette of `recordEverything`.
TEST(Exchange, RendersThroughThePaletteAndScales)
{
    const TemporaryDirectory directory;
    recordEverything(directory.path("all.vqf"), ZD_UCHAR);
    const AttributeChunk header = ImageReader(directory.path("all.vqf")).attributeChunk();
    ImageWriter writer;
    writer.create(directory.path("movie.vqf"), false);
    writer.attributeChunk() = header;
    writer.width(4);
    writer.height(1);
    writer.pixType(ZD_SHORT);
    const std::int16_t samples[] = {-100, 100, 200, 250};
    writer.addFrame(samples, -1);
    writer.close();

    struct Case {
        FrameLook look;
        std::optional<std::pair<double, double>> range;
        std::string bytes;
    };
    const Case cases[] = {
        {FrameLook::AsStored, {}, test::hex("9cff 6400 c800 fa00")},
        {FrameLook::Palette, {}, test::hex("000040 804020 ff8000 ff8000")},
        {FrameLook::Grey8, {}, test::hex("00 92 db ff")},
        {FrameLook::Grey8, std::pair(100.0, 200.0), test::hex("00 00 ff ff")},
        {FrameLook::Grey16, std::pair(0.0, 200.0), test::hex("0000 0080 ffff ffff")},
    };
    for (const Case& one : cases) {
        ExportOptions options = exporting(directory, ExchangeForm::Raw, "look.raw");
        options.look = one.look;
        options.range = one.range;
        options.replace = true;
        exportMovie(options, {});
        EXPECT_EQ(test::readFile(options.output), one.bytes) << static_cast<int>(one.look);
    }
    test::writeFile(directory.path("movie.vqf"), test::smallMovie());
    ExportOptions options = exporting(directory, ExchangeForm::Raw, "none.raw");
    options.look = FrameLook::Palette;
    EXPECT_EQ(jobProblem([&] { exportMovie(options, {}); }), "has no palette");
}

TEST(Exchange, WritesFilesAsTheirFormatsSay)
{
    const TemporaryDirectory directory;
    recordEverything(directory.path("movie.vqf"), ZD_RGB);
    exportMovie(exporting(directory, ExchangeForm::Npy, "m.npy"), {});
    const std::string npy = test::readFile(directory.path("m.npy"));
    EXPECT_EQ(npy.substr(0, 128), std::string("\x93NUMPY\x01\x00\x76\x00", 10) +
                                      "{'descr': '|u1', 'fortran_order': False, 'shape': (3, 16, 20, 3), }" +
                                      std::string(50, ' ') + "\n");
    EXPECT_EQ(npy.substr(128, 960), test::testPixels(960, 0));

    exportMovie(exporting(directory, ExchangeForm::Csv, "m.csv"), {});
    EXPECT_EQ(test::readFile(directory.path("m.csv")), "frame,time,laser_power\n"
                                                       "0,1709287200.123456,0\n"
                                                       "1,1709287201.123457,\n"
                                                       "2,1709287202.123460,0.59842521\n");
    exportMovie(exporting(directory, ExchangeForm::PngPictures, "pngs"), {});
    const QImage picture(directory.path("pngs/frame-00002.png"));
    const std::string pixels = test::testPixels(960, 2);
    EXPECT_EQ(picture.pixel(19, 15), qRgb(pixels[957], pixels[958], pixels[959]));
}

/// A stack of `pages` pages with a description, imported.
std::string importDescribed(const TemporaryDirectory& directory, const std::string& pixels, const std::string& rest,
                            unsigned pages)
{
    const std::string start = "<?xml version=\"1.0\"?><OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
                              "<Image ID=\"Image:0\"><AcquisitionDate>2024-03-01T10:00:00.5Z</AcquisitionDate>"
                              "<Pixels ID=\"Pixels:0\" SizeX=\"2\" SizeY=\"1\" Type=\"uint8\" ";
    test::writeStack(directory.path("foreign.ome.tif"),
                     {.description = start + pixels + ">" + rest + "</Pixels></Image></OME>"}, 2, 1,
                     std::vector<std::string>(pages, "ab"));
    return jobProblem([&] { importFrom(directory, "foreign.ome.tif"); });
}

TEST(Exchange, UnderstandsOmeMetadataOfOtherPrograms)
{
    const TemporaryDirectory directory;
    const auto plane = [](const char* place, const char* delta) {
        return std::string("<Plane ") + place + " DeltaT=\"" + delta + "\"/>";
    };
    // Two channels of two times, the channel changing fastest; units.
    EXPECT_EQ(importDescribed(directory, R"(DimensionOrder="XYCTZ" SizeZ="1" SizeC="2" SizeT="2")",
                              plane(R"(TheZ="0" TheC="1" TheT="1")", "1.25") +
                                  plane(R"(TheZ="0" TheC="0" TheT="1" DeltaTUnit="ms")", "1000.001") +
                                  plane(R"(TheZ="0" TheC="0" TheT="0")", "0") +
                                  plane(R"(TheZ="0" TheC="1" TheT="0" DeltaTUnit="µs")", "7"),
                              4),
              "nothing was reported");
    ImageReader movie(directory.path("again.vqf"));
    EXPECT_THAT(movie.getFrameTimer(),
                testing::ElementsAre(timeval{1'709'287'200, 500'000}, timeval{1'709'287'200, 500'007},
                                     timeval{1'709'287'201, 500'001}, timeval{1'709'287'201, 750'000}));
    movie.close();

    // The pages tell their places themselves.
    EXPECT_EQ(importDescribed(directory, R"(DimensionOrder="XYZCT" SizeZ="1" SizeC="1" SizeT="2")",
                              R"(<TiffData IFD="1" FirstT="0"/><TiffData IFD="0" FirstT="1"/>)" +
                                  plane(R"(TheZ="0" TheC="0" TheT="0")", "5") +
                                  plane(R"(TheZ="0" TheC="0" TheT="1")", "3"),
                              2),
              "nothing was reported");
    EXPECT_THAT(ImageReader(directory.path("again.vqf")).getFrameTimer(),
                testing::ElementsAre(timeval{1'709'287'203, 500'000}, timeval{1'709'287'205, 500'000}));

    const std::string size = R"(DimensionOrder="XYZCT" SizeZ="1" SizeC="1" SizeT="2")";
    const struct {
        std::string rest;
        const char* problem;
    } refused[] = {
        {plane(R"(TheZ="0" TheC="0" TheT="0")", "x"), "has OME metadata that has a time that is none: x "},
        {plane(R"(TheZ="0" TheC="0" TheT="2")", "1"), "has OME metadata that has a plane outside its image"},
        {plane(R"(TheZ="0" TheC="0" TheT="-1")", "1"), "has OME metadata that has no number in TheT"},
        {R"(<DoubleAnnotation ID="a" Namespace="vqf:laser-power"><Value>2</Value></DoubleAnnotation>)",
         "has OME metadata that has a laser power that is none: 2"},
        {"<Plane", "has OME metadata that is damaged: line 1"},
        {"</Pixels><Pixels>", "has OME metadata that describes several images"},
        {plane(R"(TheZ="0" TheC="0" TheT="0")", "5") + plane(R"(TheZ="0" TheC="0" TheT="1")", "3"),
         "has times that run back"},
    };
    for (const auto& one : refused)
        EXPECT_THAT(importDescribed(directory, size, one.rest, 2), StartsWith(one.problem));
    EXPECT_EQ(importDescribed(directory, size, plane(R"(TheZ="0" TheC="0" TheT="1")", "1"), 1),
              "tells of 2 frames, and there are 1");
}

std::string npyFile(const std::string& dictionary, std::size_t bytes)
{
    return std::string("\x93NUMPY\x01\x00", 8) + static_cast<char>(dictionary.size()) + '\0' + dictionary +
           std::string(bytes, 'p');
}

TEST(Exchange, ReadsArraysOfEitherByteOrderAndRefusesOthers)
{
    const TemporaryDirectory directory;
    const auto import = [&](const std::string& dictionary, std::size_t bytes) {
        test::writeFile(directory.path("a.npy"), npyFile(dictionary, bytes));
        return jobProblem([&] { importFrom(directory, "a.npy"); });
    };
    EXPECT_EQ(import("{\"shape\":(1,1,2),'fortran_order':False,'descr':'>u2'}", 3),
              "has 3 bytes of samples, which is not 1 frames of 4 bytes");
    test::writeFile(directory.path("a.npy"),
                    npyFile("{\"shape\":(1,1,2),'fortran_order':False,'descr':'>u2'}", 0) + "abcd");
    importFrom(directory, "a.npy");
    ImageReader movie(directory.path("again.vqf"));
    const void* data = nullptr;
    ASSERT_TRUE(movie.getFrame(data, 0));
    EXPECT_EQ(std::string(static_cast<const char*>(data), 4), "badc");

    const auto header = [](const char* type, const char* order, const char* shape) {
        return std::string("{'descr': '") + type + "', 'fortran_order': " + order + ", 'shape': (" + shape + "), }";
    };
    EXPECT_EQ(import(header("|u1", "False", "2, 3"), 6), "has the shape (2, 3)");
    EXPECT_EQ(import(header("|u1", "False", "2, 3, 4, 5"), 120), "has the shape (2, 3, 4, 5)");
    EXPECT_EQ(import(header("|u1", "False", "0, 3, 4"), 0), "has the shape (0, 3, 4)");
    EXPECT_EQ(import(header("|u1", "False", "1, 99999999999999999999, 4"), 4),
              "has the shape (1, 99999999999999999999, 4)");
    EXPECT_EQ(import(header("|u1", "True", "1, 1, 4"), 4), "is stored in Fortran order");
    EXPECT_EQ(import(header("<u8", "False", "1, 1, 4"), 32), "holds samples of type <u8, which movies do not");
    EXPECT_EQ(import(header("<c8", "False", "1, 1, 4"), 32), "holds samples of type <c8, which movies do not");
    EXPECT_EQ(import("{'descr': '|u1'}", 4), "has no \"fortran_order\" in its header that makes sense");
    test::writeFile(directory.path("a.npy"), "\x93NUMPY");
    EXPECT_EQ(jobProblem([&] { importFrom(directory, "a.npy"); }), "is no NumPy file");
}

TEST(Exchange, RefusesSidecarsThatContradictThemselves)
{
    const TemporaryDirectory directory;
    recordEverything(directory.path("movie.vqf"), ZD_UCHAR);
    exportMovie(exporting(directory, ExchangeForm::Raw, "m.raw"), {});
    const QString good = QString::fromStdString(test::readFile(directory.path("m.raw.json")));
    const struct {
        const char* from;
        const char* to;
        const char* problem;
    } cases[] = {
        {"\"width\": 20", "\"width\": 19", "has 960 bytes of samples, which is not 3 frames of 304 bytes"},
        {"\"width\": 20", "\"width\": 20.5", "has no number in \"width\""},
        {"\"frames\": 3", "\"frames\": 4", "has 3 entries in \"times\" for 4 frames"},
        {"\"type\": \"u8\"", "\"type\": \"u9\"", "names no size and type of frames"},
        {"1709287200.123456", "1e99", "has an entry in \"times\" that is no time"},
        {"null", "1e300", "has an entry in \"laserPowers\" that is no number up to 1"},
        {"\"attributes\": {", "\"attributes\": [], \"x\": {", "has no names and values in \"attributes\""},
        {"\"times\": [", "\"times\": {}, \"x\": [", "has no list in \"times\""},
        {"\"xxh3:", "\"xxh3:0", "describes other pixels than those of "},
        {"\"version\": 1", "\"version\": 2", "is of a later version of this program"},
        {"\"byteOrder\": \"little\"", "\"byteOrder\": \"big\"", "names another byte order than little"},
        {"{", "[", "is no JSON"},
    };
    for (const auto& one : cases) {
        QString text = good;
        const QLatin1StringView from(one.from);
        text.replace(text.indexOf(from), from.size(), QLatin1StringView(one.to));
        test::writeFile(directory.path("m.raw.json"), text.toStdString());
        EXPECT_THAT(jobProblem([&] { importFrom(directory, "m.raw"); }), StartsWith(one.problem)) << one.to;
    }
}

// Pixels of one recording must not meet the times and the header of another one.
TEST(Exchange, ASidecarStaysWithItsPixels)
{
    const TemporaryDirectory directory;
    recordEverything(directory.path("movie.vqf"), ZD_UCHAR);
    for (const ExchangeForm form : {ExchangeForm::Tiff, ExchangeForm::Mp4}) {
        const char* output = form == ExchangeForm::Tiff ? "s.tif" : "s.mp4";
        ExportOptions options = exporting(directory, form, output);
        exportMovie(options, {});
        const QString sidecar = options.output + QStringLiteral(".json");
        const std::string old = test::readFile(sidecar);
        options.sidecar = false;
        options.replace = true;
        options.look = FrameLook::Palette;
        exportMovie(options, {});
        EXPECT_FALSE(QFile::exists(sidecar)) << output;

        test::writeFile(sidecar, old);
        EXPECT_THAT(jobProblem([&] { importFrom(directory, output); }), StartsWith("describes ")) << output;
        ImportOptions alone;
        alone.stacks = QStringList{options.output};
        alone.movie = directory.path("alone.vqf");
        alone.replace = alone.pixelsOnly = true;
        EXPECT_EQ(importMovie(alone, {}).frames, 3U) << output;
        options.replace = false;
        QFile::remove(options.output);
        EXPECT_EQ(jobProblem([&] { exportMovie(options, {}); }), "exists already, and would describe the new pixels");
    }
}

TEST(Exchange, TakesPicturesOfOneKindInTheOrderOfTheirNumbers)
{
    const TemporaryDirectory directory;
    QDir(directory.path("")).mkdir(QStringLiteral("in"));
    const auto picture = [&](const char* name, int side, QImage::Format format, QRgb color) {
        QImage image(side, side, format);
        image.fill(color);
        ASSERT_TRUE(image.save(directory.path(name)));
    };
    picture("in/shot10.png", 2, QImage::Format_RGB32, qRgb(10, 0, 0));
    picture("in/shot9.png", 2, QImage::Format_RGB32, qRgb(9, 0, 0));
    picture("in/shot011.png", 2, QImage::Format_RGB32, qRgb(11, 0, 0));
    importFrom(directory, "in");
    ImageReader movie(directory.path("again.vqf"));
    std::string reds;
    for (const void* data = nullptr; movie.nextFrame(data);)
        reds += *static_cast<const char*>(data);
    EXPECT_EQ(reds, "\x09\x0a\x0b");
    movie.close();

    picture("in/shot12.png", 3, QImage::Format_RGB32, 0);
    EXPECT_EQ(jobProblem([&] { importFrom(directory, "in"); }),
              "page 4 is 3 x 3, RGB, but the pages before it are 2 x 2, RGB");
    picture("in/shot12.png", 2, QImage::Format_Mono, 0);
    EXPECT_EQ(jobProblem([&] { importFrom(directory, "in"); }), "has pixels of a kind that movies do not hold");
    QFile(directory.path("in/shot10.png")).resize(60);
    QFile::remove(directory.path("in/shot12.png"));
    EXPECT_THAT(jobProblem([&] { importFrom(directory, "in"); }), StartsWith("cannot be read: "));

    // A folder is replaced only when an export made all that is in it.
    recordEverything(directory.path("movie.vqf"), ZD_UCHAR);
    ExportOptions options = exporting(directory, ExchangeForm::PngPictures, "in");
    EXPECT_EQ(jobProblem([&] { exportMovie(options, {}); }), "exists already");
    options.replace = true;
    EXPECT_EQ(jobProblem([&] { exportMovie(options, {}); }), "holds files that no export wrote");
    EXPECT_EQ(QDir(directory.path("in")).count() - 2, 3U);
    options.output = directory.path("missing/in");
    EXPECT_EQ(jobProblem([&] { exportMovie(options, {}); }), "cannot be made: No such file or directory");
}

} // namespace
} // namespace zd::movietools
