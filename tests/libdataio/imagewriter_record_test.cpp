#include <libdataio/imagewriter.h>

#include <common/zdpalette.h>
#include <libdataio/clocks_p.h>
#include <libdataio/imagereader.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/everyfault.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/report.h>

#include <gmock/gmock.h>

#include <chrono>
#include <limits>
#include <memory>
#include <optional>

namespace zd {

namespace {

using namespace test;

const std::string pixels0 = countingFrame(16, '\x01');
const std::string pixels1 = countingFrame(16, '\x41');
constexpr timeval time0{1'600'000'000, 250'000};
constexpr timeval time1{1'600'000'000, 333'333};

/// The movie that `record` makes, put together by hand.
MovieBuilder exampleBuilder()
{
    return MovieBuilder()
        .frame(pixels0)
        .frame(pixels1)
        .chunk(7, timeBytes(1'600'000'000, 250'000) + timeBytes(1'600'000'000, 333'333))
        .chunk(8, "\x7F\xFF")
        .frameFormat(4, 2, 5, 16);
}

void setFormat(ImageWriter& writer)
{
    writer.width(4);
    writer.height(2);
    writer.pixType(ZD_USHORT);
}

class Recording : public testing::Test {
protected:
    /// Two frames with times and laser powers; the movie stays open.
    void record(ImageWriter& writer)
    {
        writer.create(m_path, false);
        setFormat(writer);
        writer.addFrame(pixels0.data(), time0, 0.5F);
        writer.addFrame(pixels1.data(), 16, time1, -1.0F);
    }

    std::string file() const { return readFile(m_path); }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
};

TEST_F(Recording, WritesTheDocumentedBytes)
{
    ImageWriter writer;
    EXPECT_FALSE(writer.isOpen());
    writer.close(); // nothing is open
    record(writer);
    EXPECT_TRUE(writer.isOpen());
    EXPECT_EQ(file(), chunk(2, pixels0) + chunk(2, pixels1)) << "frames are complete when the call returns";
    writer.close();
    EXPECT_FALSE(writer.isOpen());

    const std::string bytes = file();
    EXPECT_EQ(bytes.size(), 309U);
    EXPECT_EQ(bytes, exampleBuilder().movie());
    EXPECT_EQ(bytes.substr(0, 16), hex("0A3C43535441 00000002 00000010 3E0A"));
    EXPECT_EQ(bytes.substr(194, 52), word(4) + words({2, 0, 16, 2, 48, 16, 7, 96, 16, 8, 144, 2}));
    EXPECT_EQ(bytes.substr(246, 47), "endian=2\nheight=2\npixbits=16\npixtype=5\nwidth=4\n");
    writer.close(); // again: nothing happens
    EXPECT_EQ(file(), bytes);
}

TEST_F(Recording, StampsFramesWithTheClock)
{
    const auto now = [] { return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now()); };
    const auto before = now();
    ImageWriter writer;
    writer.create(m_path, true);
    EXPECT_EQ(codeOf([&] { writer.addFrame(pixels0.data(), time0, 0.5F); }), "IW_AF_INFO2") << "the size comes first";
    setFormat(writer);
    writer.addFrame(pixels0.data(), 0.5F);
    writer.addFrame(pixels0.data(), 16, 0.5F);
    writer.addFrameAtEnd(pixels1.data(), 16, -1.0F);
    writer.replaceFrame(pixels1.data(), 1, 0.25F);
    writer.close();
    const auto after = now();

    EXPECT_EQ(framesOf(file()), (std::vector<std::string>{pixels0, pixels1, pixels1}));
    ImageReader reader(m_path);
    const FrameTimer& times = reader.getFrameTimer();
    ASSERT_EQ(times.size(), 3U);
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
    for (const timeval& time : times) {
        EXPECT_GE(toTimePoint(time), before);
        EXPECT_LE(toTimePoint(time), after);
        EXPECT_LT(time.tv_usec, 1'000'000);
    }
}

/// Clocks that show what a test sets, while it lives.
class SetClocks {
public:
    SetClocks()
    {
        clocks = {.wall = [] { return wall; }, .steady = [] { return steady; }};
    }
    SetClocks(const SetClocks&) = delete;
    SetClocks& operator=(const SetClocks&) = delete;
    ~SetClocks() { clocks = m_before; }

    static inline std::int64_t wall = 0;
    static inline std::int64_t steady = 0;

private:
    const Clocks m_before = clocks;
};

TEST_F(Recording, AutomaticTimesNeverRunBackwards)
{
    struct Step {
        std::int64_t wall, steady;
        timeval time;
    };
    const Step steps[] = {
        {100'000'000, 5'000'000, {100, 0}},       {101'500'000, 6'500'000, {101, 500'000}},
        {41'700'000, 6'700'000, {101, 700'000}}, // set back a minute: on by the steady clock
        {43'000'001, 8'000'001, {103, 1}},       // that has not caught up
        {103'000'001, 68'000'001, {163, 1}},     // nor has this
        {170'000'000, 70'000'000, {170, 0}},     // set forward again
        {170'000'000, 71'000'000, {170, 0}},     // stands still
        {-1'500'000, 71'250'000, {170, 250'000}},
    };
    const SetClocks set;
    ImageWriter writer;
    writer.create(m_path, true);
    FrameTimer expected;
    for (const Step& step : steps) {
        set.wall = step.wall;
        set.steady = step.steady;
        writer.addFrame(pixels0.data(), 16, -1.0F);
        expected.push_back(step.time);
    }
    const LogCapture log;
    writer.close();
    EXPECT_TRUE(log.records.empty());
    EXPECT_EQ(ImageReader(m_path).getFrameTimer(), expected);

    set.wall = -1'500'000;
    writer.create(m_path, true);
    writer.addFrame(pixels0.data(), 16, -1.0F);
    writer.close();
    EXPECT_EQ(ImageReader(m_path).getFrameTimer(), FrameTimer({{-2, 500'000}})) << "another movie, before 1970";
}

TEST_F(Recording, SaysThatTimesWereSorted)
{
    ImageWriter writer;
    writer.create(m_path, false);
    for (const timeval time : {time1, time0})
        writer.addFrame(pixels0.data(), 16, time, -1.0F);
    const LogCapture log;
    writer.close();
    ASSERT_EQ(log.records.size(), 1U);
    EXPECT_EQ(log.records[0].code, QStringLiteral("IW_C_TIMES"));
    EXPECT_EQ(log.records[0].level, 2);
    EXPECT_THAT(log.records[0].location.function, testing::HasSubstr("zd::ImageWriter::close()"));
}

TEST_F(Recording, WhatOthersAppendStays)
{
    const std::string foreign = chunk(99, "foreign");
    const auto append = [&] {
        const Descriptor file(m_path, O_WRONLY);
        file.put(static_cast<off_t>(readFile(m_path).size()), foreign);
    };
    const auto failOnce = [](Share share, const auto& operation) {
        const Faults full({.at = 1, .error = ENOSPC, .share = share, .among = call::writes});
        EXPECT_NE(codeOf(operation), "");
    };
    for (const Share share : {Share::Nothing, Share::Half, Share::All}) {
        ImageWriter writer;
        writer.create(m_path, false);
        setFormat(writer);
        writer.addFrame(pixels0.data(), -1.0F);
        append();
        writer.addFrameAtEnd(pixels1.data(), 16, -1.0F);
        failOnce(share, [&] { writer.addFrame(pixels0.data(), -1.0F); });
        writer.addFrameAtEnd(pixels0.data(), 16, -1.0F); // over the remains of the failed one
        append();
        failOnce(share, [&] { writer.close(); });
        writer.close();
        EXPECT_EQ(file(), MovieBuilder()
                              .frame(pixels0)
                              .bytes(foreign)
                              .frame(pixels1)
                              .frame(pixels0)
                              .bytes(foreign)
                              .chunk(8, "\xFF\xFF\xFF")
                              .frameFormat(4, 2, 5, 16)
                              .movie());

        writer.create(m_path, false);
        failOnce(Share::Half, [&] { writer.addFrame(pixels0.data(), 16, -1.0F); });
        const std::string remains = file();
        append();
        writer.addFrame(pixels1.data(), 16, -1.0F);
        EXPECT_EQ(file(), remains + foreign + chunk(2, pixels1)) << "nothing of somebody else's is cut";
    }
}

TEST_F(Recording, WritesOnlyTheSideDataThatThereIs)
{
    const auto typesAfter = [this](bool autotime, auto fill) {
        ImageWriter writer;
        writer.create(m_path, autotime);
        setFormat(writer);
        fill(writer);
        writer.close();
        std::vector<std::uint32_t> types;
        for (const WalkedChunk& chunk : walkMovie(file()))
            types.push_back(chunk.type);
        return types;
    };
    using Types = std::vector<std::uint32_t>;
    EXPECT_EQ(typesAfter(false, [](ImageWriter&) {}), Types({5}));
    EXPECT_EQ(typesAfter(true, [](ImageWriter&) {}), Types({7, 5}));
    EXPECT_EQ(file().substr(0, 32), chunk(7, ""));
    EXPECT_EQ(typesAfter(false, [](ImageWriter& w) { w.addFrame(pixels0.data(), 1.0F); }), Types({2, 8, 5}));
    EXPECT_EQ(typesAfter(true,
                         [](ImageWriter& w) {
                             w.addRasterFiberContinuousIndexes({1, 1});
                             w.addFrame(pixels0.data(), 1.0F);
                         }),
              Types({2, 6, 7, 8, 5}));
    EXPECT_EQ(typesAfter(false,
                         [](ImageWriter& w) {
                             w.addRasterFiberContinuousIndexes({1, 1});
                             w.addRasterFiberContinuousIndexes({});
                         }),
              Types({5}));
}

TEST_F(Recording, EncodesSideData)
{
    ImageWriter writer;
    writer.create(m_path, false);
    setFormat(writer);
    const timeval late{5, 1};
    const timeval early{-3, 999'999};
    const timeval between{5, 0};
    const float powers[] = {0, 0.5F, 1, -1, 2};
    const timeval times[] = {late, early, between, between, late};
    for (int i = 0; i < 5; ++i)
        writer.addFrame(pixels0.data(), times[i], powers[i]);
    writer.addRasterFiberContinuousIndexes({-3, 1, 4, 1.5F, 2.5F});
    EXPECT_EQ(writer.getRasterFiberContinuousIndexes(), (std::vector<float>{-3, 1, 4, 1.5F, 2.5F}));
    writer.close();

    const std::vector<WalkedChunk> chunks = walkMovie(file());
    ASSERT_EQ(chunks.size(), 9U);
    EXPECT_EQ(chunks[5].payload, words({0, 2147483647, 3221225471, 2147483647, 2684354559})) << "an odd list ends in x";
    EXPECT_EQ(chunks[6].payload,
              timeBytes(-3, 999'999) + timeBytes(5, 0) + timeBytes(5, 0) + timeBytes(5, 1) + timeBytes(5, 1));
    EXPECT_EQ(chunks[7].payload, hex("00 7F FE FF FC"));
}

TEST_F(Recording, StoresHeaderValues)
{
    ImageWriter writer;
    EXPECT_EQ(writer.pixBytes(), 0);
    EXPECT_EQ(writer.getComment(), QString());
    writer.create(m_path, false);
    EXPECT_EQ(codeOf([&] { writer.pixType(ZD_UNKNOWN); }), "IW_PT_INFO");
    const std::pair<int, int> bitsAndBytes[] = {{1, 1}, {8, 1}, {12, 2}, {24, 3}, {0, 1}, {-16, -1}};
    for (const auto& [bits, bytes] : bitsAndBytes) {
        writer.attribute(QStringLiteral("pixbits"), bits);
        EXPECT_EQ(writer.pixBytes(), bytes) << bits;
    }
    writer.pixType(ZD_RGB);
    EXPECT_EQ(codeOf([&] { writer.pixType(static_cast<ZDImagePixelType>(99)); }), "IW_PT_INFO");
    EXPECT_EQ(writer.pixBytes(), 3) << "the bits stay";
    writer.width(7);
    writer.width(8);
    writer.height(9);
    writer.frameDelay(83);
    writer.dimension(2);
    writer.palette("unused", 6);
    writer.indexed(true);
    writer.setComment(QStringLiteral("a\nb\ac\r"));
    EXPECT_EQ(writer.getComment(), QStringLiteral("a\nb c\r"));
    writer.setSpecificComment(QStringLiteral("\n"));
    writer.attribute(QStringLiteral("x"), 1.5F);
    writer.attribute(QStringLiteral("y"), QStringLiteral("t\u00E9"));
    writer.setPlugAttribute(QStringLiteral("gain"), 3);
    writer.setPlugAttribute(QStringLiteral("f"), -0.25F);
    writer.setPlugAttribute(QStringLiteral("t"), QStringLiteral("u"));
    writer.removeAttribute(QStringLiteral("gain"));
    writer.removeAttribute(QStringLiteral("plug_t"));
    writer.addBundleBoundingBoxCoords(10, 20, 110, 120);
    writer.attributeChunk().set(QStringLiteral("z"), 1);
    ZdPalette palette;
    palette.name = QStringLiteral("p");
    writer.attribute(QStringLiteral("pal_name"), QStringLiteral("replaced"));
    writer.setPalette(palette);
    writer.close();

    EXPECT_EQ(headerText(file()),
              "bbox_max_x=1.100000e+02\nbbox_max_y=1.200000e+02\nbbox_min_x=1.000000e+01\nbbox_min_y=2.000000e+01\n"
              "comment=a\ab c\r\ndatadimension=2\nendian=2\nframedelay=83\nheight=9\nindexed=1\n"
              "pal_cropMax=0\npal_cropMin=0\npal_name=p\npal_nbcols=0\npalette=1\npixbits=24\npixtype=99\n"
              "plug_f=-2.500000e-01\nplug_gain=3\nspecific_comment=\a\nwidth=8\nx=1.500000e+00\n"
              "y=t\xE9\nz=1\n");
}

TEST_F(Recording, TakesTheFrameSizeFromTheHeader)
{
    struct Case {
        int width, height, bits;
        std::optional<std::size_t> bytes; // none: not defined
    };
    const Case cases[] = {
        {5, 3, 12, 30},
        {5, 3, 24, 45},
        {5, 3, 1, 15},
        {0, 3, 16, 0},
        {5, 3, 0, 0},
        {-1, 3, 8, std::nullopt},
        {5, 3, -16, std::nullopt},
        {46341, 46341, 16, std::nullopt},
        {65536, 65536, 8, std::nullopt},
        {2147483647, 2147483647, 2147483647, std::nullopt},
    };
    const std::string pixels(64, 'p');
    ImageWriter writer;
    for (const Case& c : cases) {
        writer.create(m_path, false);
        EXPECT_EQ(codeOf([&] { writer.addFrame(pixels.data(), 1.0F); }), "IW_AF_INFO1") << "nothing is defined";
        writer.width(c.width);
        writer.height(c.height);
        EXPECT_EQ(codeOf([&] { writer.addFrame(pixels.data(), 1.0F); }), "IW_AF_INFO1") << "no bits are defined";
        writer.attribute(QStringLiteral("pixbits"), c.bits);
        EXPECT_EQ(codeOf([&] { writer.addFrame(pixels.data(), time0, 1.0F); }), c.bytes ? "" : "IW_AF_INFO2");
        EXPECT_EQ(codeOf([&] { writer.addFrame(pixels.data(), 1.0F); }), c.bytes ? "" : "IW_AF_INFO1");
        writer.close();
        const std::string frame = pixels.substr(0, c.bytes.value_or(0));
        EXPECT_EQ(framesOf(file()), std::vector<std::string>(c.bytes ? 2 : 0, frame))
            << c.width << " x " << c.height << " x " << c.bits;
    }
    EXPECT_EQ(codeOf([&] { writer.addFrame(pixels.data(), 1.0F); }), "IW_AF_INFO1");

    // Values that change through references kept from an earlier call count with the next frame.
    writer.create(m_path, false);
    setFormat(writer);
    AttributeChunk::Map& entries = writer.attributeChunk().attributes();
    Attribute& width = entries.at(QStringLiteral("width"));
    writer.addFrame(pixels.data(), 1.0F);
    width.assign(3);
    writer.addFrame(pixels.data(), 1.0F);
    entries.at(QStringLiteral("pixbits")).assign(8);
    writer.addFrame(pixels.data(), 1.0F);
    entries.erase(QStringLiteral("height"));
    EXPECT_EQ(codeOf([&] { writer.addFrame(pixels.data(), 1.0F); }), "IW_AF_INFO1");
    writer.close();
    EXPECT_EQ(framesOf(file()),
              (std::vector<std::string>{pixels.substr(0, 16), pixels.substr(0, 12), pixels.substr(0, 6)}));
}

TEST_F(Recording, RefusesFramesThatCannotBe)
{
    ImageWriter writer;
    EXPECT_EQ(codeOf([&] { writer.replaceFrame(pixels0.data(), 0, 0.5F); }), "IW_RF_FIND");
    writer.create(m_path, false);
    EXPECT_EQ(codeOf([&] { writer.replaceFrame(pixels0.data(), 0, time0, 0.5F); }), "IW_RF_FIND2");
    setFormat(writer);
    writer.close();
    const auto refused = [](auto operation) { EXPECT_EQ(codeOf(operation), "FDCW_AC_BADFD"); };
    refused([&] { writer.addFrame(pixels0.data(), 0.5F); });
    refused([&] { writer.addFrameAtEnd(pixels0.data(), 16, 0.5F); });
    EXPECT_EQ(writer.roomLeft(), 0U);
    EXPECT_FALSE(writer.sync());

    for (const bool autotime : {true, false}) {
        writer.create(m_path, autotime);
        setFormat(writer);
        const auto code = [&](const char* withClock) { return std::string(autotime ? withClock : ""); };
        EXPECT_EQ(codeOf([&] { writer.addFrame(pixels0.data(), time0, 0.5F); }), code("IW_AF_AUTOTIME1"));
        EXPECT_EQ(codeOf([&] { writer.addFrame(pixels0.data(), 16, time0, 0.5F); }), code("IW_AF_AUTOTIME2"));
        EXPECT_EQ(codeOf([&] { writer.addFrameAtEnd(pixels0.data(), 16, time0, 0.5F); }), code("IW_AF_AUTOTIME3"));
        EXPECT_EQ(codeOf([&] { writer.replaceFrame(pixels0.data(), 0, time0, 0.5F); }), code("IW_RF_AUTOTIME"));
    }
    record(writer);
    EXPECT_TRUE(writer.sync());
    EXPECT_EQ(reportOf([&] { writer.addFrame(pixels0.data(), -1, 0.5F); }), described("FDCW_AC_WRITE", EINVAL));
    EXPECT_EQ(codeOf([&] { writer.addFrameAtEnd(pixels0.data(), std::numeric_limits<int>::min(), time0, 0.5F); }),
              "FDCW_AC_WRITE");
    EXPECT_EQ(codeOf([&] { writer.addFrame(nullptr, 16, time0, 0.5F); }), "FDCW_AC_WRITE");
    writer.close();

    refused([&] { writer.addFrame(pixels0.data(), 16, 0.5F); });
    refused([&] { writer.addFrame(pixels0.data(), time0, 0.5F); });
    refused([&] { writer.addFrameAtEnd(pixels0.data(), 16, time0, 0.5F); });
    refused([&] { writer.replaceFrame(pixels0.data(), 0, 0.5F); });
    refused([&] { writer.replaceFrame(pixels0.data(), 0, time0, 0.5F); });
    EXPECT_EQ(file(), exampleBuilder().movie());
    writer.create(m_path, false);
    writer.close();
    EXPECT_EQ(file(), MovieBuilder().attribute("endian", "2").movie()) << "nothing is left of the movie before";
}

TEST_F(Recording, KeepsRoomForTheRestOfTheMovie)
{
    constexpr std::uint64_t limit = 1000;
    ImageWriter writer;
    EXPECT_EQ(writer.sizeLimit(), 2147483647U);
    writer.setSizeLimit(~std::uint64_t{0});
    EXPECT_EQ(writer.sizeLimit(), 4294967295U);
    writer.setSizeLimit(limit);
    EXPECT_EQ(writer.sizeLimit(), limit);
    writer.create(m_path, true);
    setFormat(writer);
    writer.addRasterFiberContinuousIndexes({1, 1, 2, 1});
    const std::string pixels(limit, 'p');

    int frames = 0;
    while (writer.roomLeft() >= 100) {
        const std::uint64_t room = writer.roomLeft();
        writer.addFrame(pixels.data(), 60, 0.5F);
        EXPECT_EQ(writer.roomLeft(), room - 60 - 32 - 12 - 8 - 1) << "chunk, record, time and laser power";
        ++frames;
    }
    const auto room = static_cast<int>(writer.roomLeft());
    EXPECT_EQ(reportOf([&] { writer.addFrame(pixels.data(), room + 1, 0.5F); }), described("FDCW_AC_WRITE", EFBIG));
    writer.attribute(QStringLiteral("long"), QStringLiteral("text"));
    EXPECT_EQ(writer.roomLeft(), static_cast<std::uint64_t>(room - 10)) << "name, =, value and line feed";
    writer.removeAttribute(QStringLiteral("long"));
    writer.addFrame(pixels.data(), room, 0.5F);
    EXPECT_EQ(writer.roomLeft(), 0U);
    EXPECT_EQ(codeOf([&] { writer.addFrame(pixels.data(), 0, 0.5F); }), "FDCW_AC_WRITE");
    writer.close();

    EXPECT_LE(file().size(), limit);
    walkMovie(file());
    ImageReader reader(m_path);
    EXPECT_EQ(reader.nbFrames(), frames + 1);
    EXPECT_EQ(reader.getFrameTimer().size(), static_cast<std::size_t>(frames + 1));
}

TEST_F(Recording, ASecondMovieClosesTheFirst)
{
    const QString second = m_directory.path("second.vqf");
    ImageWriter writer;
    record(writer);
    writer.create(second, false);
    EXPECT_EQ(file(), exampleBuilder().movie());
    writer.addFrame(pixels1.data(), 16, 0.5F);
    const std::string secondBytes = readFile(second);

    writer.addRasterFiberContinuousIndexes({1, 1});
    EXPECT_EQ(codeOf([&] { writer.create(m_path, true); }), "IW_ARFCI_INFO") << "the second has no frame size";
    EXPECT_EQ(codeOf([&] { writer.modify(m_path); }), "IW_ARFCI_INFO");
    EXPECT_EQ(codeOf([&] { writer.modifyAttribute(m_path, AttributeChunk()); }), "IW_ARFCI_INFO");
    EXPECT_EQ(file(), exampleBuilder().movie());
    EXPECT_EQ(readFile(second), secondBytes);
    setFormat(writer);
    writer.addFrame(pixels0.data(), time0, -1.0F);
    EXPECT_EQ(codeOf([&] { writer.create(m_directory.path("no/such/folder"), true); }), "FW_OF_OPEN");
    EXPECT_FALSE(writer.isOpen());
    EXPECT_EQ(readFile(second), MovieBuilder()
                                    .frame(pixels1)
                                    .frame(pixels0)
                                    .chunk(6, words({1073741823, 2147483647}))
                                    .chunk(7, timeBytes(time0.tv_sec, time0.tv_usec))
                                    .chunk(8, "\x7F\xFF")
                                    .frameFormat(4, 2, 5, 16)
                                    .movie());
}

TEST_F(Recording, TheDestructorCloses)
{
    {
        ImageWriter writer;
        record(writer);
    }
    EXPECT_EQ(file(), exampleBuilder().movie());
    {
        ImageWriter writer;
        writer.create(m_path, false);
        writer.addFrame(pixels0.data(), 16, -1.0F);
        writer.addRasterFiberContinuousIndexes({1, 1});
    }
    EXPECT_EQ(file(), MovieBuilder().frame(pixels0).chunk(8, "\xFF").attribute("endian", "2").movie())
        << "without the fibre centres, which lack a frame size";
    const auto destroyWithFibers = [this](const auto& fault) {
        auto writer = std::make_unique<ImageWriter>();
        record(*writer);
        writer->addRasterFiberContinuousIndexes({1, 1});
        fault(writer);
        return file();
    };
    const std::string frames = chunk(2, pixels0) + chunk(2, pixels1);
    EXPECT_THAT(destroyWithFibers([](auto& writer) {
                    const Faults once({.at = 1, .error = EIO, .among = call::writes});
                    writer.reset();
                }),
                testing::StartsWith(frames + chunk(6, words({1073741823, 2147483647}))))
        << "a failure that passes costs nothing";
    EXPECT_EQ(destroyWithFibers([](auto& writer) {
                  const Faults full({.at = 1, .error = ENOSPC, .lasting = true, .among = call::writes});
                  writer.reset();
              }),
              frames)
        << "one that stays is dropped";
    EXPECT_EQ(destroyWithFibers([](auto& writer) {
                  const Allocations none({.at = 1, .lasting = true});
                  writer.reset();
              }),
              frames)
        << "so is the want of memory";
}

constexpr Share everyShare[] = {Share::Nothing, Share::OneByte, Share::Half, Share::AllButOne, Share::All};

TEST_F(Recording, AFailedCloseCanBeFollowedByFrames)
{
    std::optional<ImageWriter> writer;
    const auto prepare = [&] {
        writer.emplace();
        record(*writer);
        writer->addRasterFiberContinuousIndexes({1, 1});
    };
    const std::string times = timeBytes(1'600'000'000, 250'000) + timeBytes(1'600'000'000, 333'333);
    MovieBuilder whole = MovieBuilder().frame(pixels0).frame(pixels1);
    MovieBuilder longer = MovieBuilder(whole).frame(pixels0);
    whole.chunk(6, words({1073741823, 2147483647})).chunk(7, times).chunk(8, "\x7F\xFF");
    longer.chunk(6, words({1073741823, 2147483647})).chunk(7, times + timeBytes(1'700'000'000, 0));
    longer.chunk(8, std::string("\x7F\xFF\x00", 3));
    for (const Share share : everyShare) {
        const Fault fault{.error = ENOSPC, .share = share, .among = call::writes | call::seek | call::truncate};
        const int failures = withEveryFault(
            fault, prepare, [&] { writer->close(); },
            [&](const std::string& code) {
                EXPECT_EQ(writer->isOpen(), !code.empty());
                EXPECT_TRUE(file().starts_with(chunk(2, pixels0) + chunk(2, pixels1)));
                if (!code.empty())
                    writer->addFrame(pixels0.data(), {1'700'000'000, 0}, 0.0F);
                writer->close();
                EXPECT_EQ(file(), (code.empty() ? whole : longer).frameFormat(4, 2, 5, 16).movie());
            });
        EXPECT_GE(failures, 4) << "the chunks of the tail";
    }
}

} // namespace

} // namespace zd
