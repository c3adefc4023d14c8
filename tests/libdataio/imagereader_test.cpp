#include <libdataio/imagereader.h>

#include <common/zdpalette.h>
#include <tests/support/allocations.h>
#include <tests/support/descriptor.h>
#include <tests/support/everyfault.h>
#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QImage>

#include <algorithm>
#include <cstring>
#include <optional>
#include <tuple>

namespace zd {

namespace {

using namespace test;

const std::string frames[] = {countingFrame(16, '\x00'), countingFrame(16, '\x20'), countingFrame(16, '\x40')};

MovieBuilder threeFrames()
{
    MovieBuilder builder;
    for (const std::string& frame : frames)
        builder.frame(frame);
    return builder.frameFormat(4, 2, 5, 16);
}

class Reading : public testing::Test {
protected:
    void open(const MovieBuilder& movie) { openBytes(movie.movie()); }
    void openBytes(const std::string& bytes)
    {
        writeFile(m_path, bytes);
        m_reader.open(m_path);
    }
    std::string codeOfOpening(const std::string& bytes)
    {
        return codeOf([&] { openBytes(bytes); });
    }

    /// The frame as delivered; "none" when there is none, "null" for a null pointer.
    std::string frame(unsigned int index)
    {
        const void* data = nullptr;
        if (!m_reader.getFrame(data, index))
            return readInto(index, 1) == "none" ? "none" : "read all the same";
        const std::string got = delivered(data);
        const std::string expected = data == nullptr ? "none" : got + std::string(5, '\0');
        EXPECT_TRUE(readInto(index, got.size() + 5) == expected) << "read with room to spare";
        EXPECT_LE(m_reader.frameSize(), static_cast<std::int64_t>(got.size()));
        return got;
    }
    /// The frame as read into `size` bytes that do not begin at an even address.
    std::string readInto(unsigned int index, std::size_t size)
    {
        std::string bytes(size + 1, '#');
        const bool read = m_reader.readFrame(index, bytes.data() + 1, static_cast<std::int64_t>(size));
        EXPECT_EQ(bytes[0], '#');
        return read ? bytes.substr(1) : "none";
    }
    std::string nextFrame()
    {
        const void* data = nullptr;
        return m_reader.nextFrame(data) ? delivered(data) : "none";
    }
    std::string delivered(const void* data)
    {
        EXPECT_EQ(data == nullptr, m_reader.frameSize() == 0 && m_reader.pixBytes() > 1);
        return data == nullptr
                   ? "null"
                   : std::string(static_cast<const char*>(data), static_cast<std::size_t>(m_reader.frameSize()));
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
    ImageReader m_reader;
};

QString text(const char* latin1)
{
    return QString::fromLatin1(latin1);
}

TEST_F(Reading, DeliversFrames)
{
    EXPECT_EQ(frame(0), "none");
    EXPECT_EQ(m_reader.frameSize(), 0);
    open(threeFrames().chunk(99, "foreign"));
    EXPECT_EQ(m_reader.nbFrames(), 3);
    EXPECT_EQ(m_reader.currFrameIdx(), 0);
    EXPECT_EQ(frame(2), frames[2]);
    EXPECT_EQ(m_reader.currFrameIdx(), 2);
    EXPECT_EQ(nextFrame(), frames[2]) << "getFrame leaves the cursor on its frame";
    EXPECT_EQ(m_reader.currFrameIdx(), 3);
    EXPECT_EQ(nextFrame(), "none");
    EXPECT_EQ(nextFrame(), "none");
    EXPECT_EQ(m_reader.currFrameIdx(), 5);
    const void* untouched = this;
    EXPECT_FALSE(m_reader.getFrame(untouched, 3));
    EXPECT_FALSE(m_reader.getFrame(untouched, 0xFFFFFFFF));
    EXPECT_FALSE(m_reader.nextFrame(untouched));
    EXPECT_EQ(untouched, this);
    EXPECT_EQ(m_reader.currFrameIdx(), 6);
    EXPECT_TRUE(m_reader.rewind());
    for (const std::string& expected : frames)
        EXPECT_EQ(nextFrame(), expected);
    EXPECT_EQ(frame(1), frames[1]);

    const void* first = nullptr;
    const void* second = nullptr;
    m_reader.getFrame(first, 0);
    m_reader.getFrame(second, 1);
    EXPECT_EQ(first, second) << "without a copy, from one buffer";
}

TEST_F(Reading, ReadsFramesIntoCallersMemory)
{
    std::vector<char> room(8);
    EXPECT_FALSE(m_reader.readFrame(0, room.data(), 8)) << "closed";
    open(threeFrames());
    EXPECT_EQ(readInto(1, 16), frames[1]);
    EXPECT_EQ(m_reader.currFrameIdx(), 1);
    EXPECT_EQ(nextFrame(), frames[1]) << "the cursor is on the frame";
    EXPECT_EQ(readInto(2, 5), frames[2].substr(0, 5));
    EXPECT_EQ(m_reader.frameSize(), 16) << "of the whole frame";
    EXPECT_TRUE(m_reader.readFrame(0, nullptr, 0));
    EXPECT_FALSE(m_reader.readFrame(0, room.data(), -1) || m_reader.readFrame(3, room.data(), 8));
    EXPECT_EQ(m_reader.currFrameIdx(), 0);

    const auto turned = [this](std::size_t size) {
        open(MovieBuilder().frame(hex("1234 5678 9ABC")).frameFormat(2, 1, 5, 16).attribute("endian", "1"));
        return readInto(0, size);
    };
    EXPECT_EQ(turned(6), hex("3412 7856 0000")) << "no more than the header's";
    EXPECT_EQ(m_reader.frameSize(), 4);
    EXPECT_EQ(turned(3), hex("3412 00")) << "whole samples";
    open(MovieBuilder().frame(hex("1234 56")).frameFormat(2, 1, 5, 16).attribute("endian", "1"));
    EXPECT_EQ(readInto(0, 4), hex("3412 0000"));
    EXPECT_EQ(m_reader.frameSize(), 3) << "what there is of it";

    open(MovieBuilder().bytes(chunk(2, "abcdef")).record(2, 0, 1'000'000).record(2, 0, 1));
    EXPECT_EQ(readInto(0, 8), std::string("abcdef\0\0", 8)) << "the chunk's own length counts";
    EXPECT_EQ(frame(0), "abcdef");
    EXPECT_EQ(readInto(1, 4), "abcd");
    // Small frames in sequence come out of the stretch that is read ahead.
    MovieBuilder many;
    for (int i = 0; i < 3000; ++i)
        many.frame(countingFrame(40, static_cast<char>(i)));
    open(many.attribute("pixtype", "3"));
    for (int i = 0; i < 3000; ++i)
        ASSERT_EQ(readInto(static_cast<unsigned int>(i), 41), countingFrame(40, static_cast<char>(i)) + '\0') << i;
}

TEST_F(Reading, AnswersForTheHeader)
{
    const auto checkEmpty = [this] {
        int number = -77;
        ZDImagePixelType type = ZD_RGB;
        bool found = true;
        EXPECT_FALSE(m_reader.width(number) || m_reader.height(number) || m_reader.frameDelay(number) ||
                     m_reader.dimension(number) || m_reader.pixBits(number));
        EXPECT_EQ(number, -77) << "absent values leave the argument alone";
        EXPECT_FALSE(m_reader.pixType(type));
        EXPECT_EQ(type, ZD_UNKNOWN);
        EXPECT_EQ(m_reader.pixBytes(), 0);
        EXPECT_EQ(m_reader.endian(), 0);
        EXPECT_EQ(m_reader.utcOffsetSeconds(found), 0);
        EXPECT_FALSE(found);
        EXPECT_EQ(m_reader.dataType(), text("imp"));
        EXPECT_EQ(m_reader.getMaskLevel(), -32768);
        EXPECT_TRUE(m_reader.getComment().isNull());
        EXPECT_TRUE(m_reader.getSpecificComment().isNull());
        EXPECT_EQ(m_reader.nbFrames(), 0);
    };
    checkEmpty();
    open(MovieBuilder());
    checkEmpty();
    EXPECT_EQ(nextFrame(), "none");
    EXPECT_EQ(m_reader.currFrameIdx(), 1);

    open(MovieBuilder()
             .frameFormat(896, 640, 6, 8)
             .attribute("endian", "7")
             .attribute("framedelay", "83")
             .attribute("datadimension", "-1")
             .attribute("utc_offset_seconds", "-3600")
             .attribute("mask_level", "4095")
             .attribute("comment", "a\ab\a\ac\xE9")
             .attribute("specific_comment", "s"));
    int width = 0;
    int height = 0;
    int delay = 0;
    int dimension = 0;
    int bits = 0;
    ZDImagePixelType type = ZD_UNKNOWN;
    bool found = false;
    EXPECT_TRUE(m_reader.width(width) && m_reader.height(height) && m_reader.frameDelay(delay) &&
                m_reader.dimension(dimension) && m_reader.pixBits(bits) && m_reader.pixType(type));
    EXPECT_EQ(std::make_tuple(width, height, delay, dimension, bits, type),
              std::make_tuple(896, 640, 83, -1, 16, ZD_SHORT))
        << "the pixel type's bits count, not \"pixbits\"";
    EXPECT_EQ(m_reader.pixBytes(), 2);
    EXPECT_EQ(m_reader.endian(), 7);
    EXPECT_EQ(m_reader.utcOffsetSeconds(found), -3600);
    EXPECT_TRUE(found);
    EXPECT_EQ(m_reader.getMaskLevel(), 4095);
    EXPECT_EQ(m_reader.getComment(), text("a\nb\n\nc\xE9"));
    EXPECT_EQ(m_reader.getSpecificComment(), text("s"));
    EXPECT_EQ(m_reader.dataType(), text("raw"));
}

TEST_F(Reading, WorksOutWhatIsNotStored)
{
    const auto dataType = [this](const MovieBuilder& movie) {
        open(movie);
        return m_reader.dataType().toStdString();
    };
    EXPECT_EQ(dataType(MovieBuilder().frameFormat(640, 896, 5, 16)), "imp");
    EXPECT_EQ(dataType(MovieBuilder().attribute("width", "896")), "imp");
    EXPECT_EQ(dataType(MovieBuilder().frameFormat(896, 640, 5, 16).attribute("data_type", "other")), "other");

    struct Case {
        const char* type; // null: absent
        const char* bits;
        bool typeFound;
        int guessed;
        bool bitsFound;
        int bitCount;
        int bytes;
    };
    const Case cases[] = {
        {nullptr, "16", true, ZD_USHORT, true, 16, 2},   {nullptr, "8", true, ZD_UCHAR, true, 8, 1},
        {nullptr, "12", false, ZD_UNKNOWN, true, 12, 2}, {nullptr, "64", true, ZD_ULONG, true, 64, 8},
        {nullptr, "0", false, ZD_UNKNOWN, true, 0, 1},   {nullptr, "-16", false, ZD_UNKNOWN, true, -16, -1},
        {"0", "16", false, ZD_UNKNOWN, true, 0, 1},      {"99", "16", true, 99, true, 0, 1},
        {"-2", nullptr, true, -2, true, 0, 1},           {"x", "16", true, ZD_USHORT, true, 16, 2},
        {"11", "8", true, ZD_RGB, true, 24, 3},          {"2", nullptr, true, ZD_DOUBLE, true, 64, 8},
    };
    for (const Case& c : cases) {
        MovieBuilder movie;
        if (c.type != nullptr)
            movie.attribute("pixtype", c.type);
        if (c.bits != nullptr)
            movie.attribute("pixbits", c.bits);
        open(movie);
        ZDImagePixelType type = ZD_RGB;
        int bits = -77;
        EXPECT_EQ(m_reader.pixType(type), c.typeFound);
        EXPECT_EQ(static_cast<int>(type), c.guessed);
        EXPECT_EQ(m_reader.pixBits(bits), c.bitsFound);
        EXPECT_EQ(bits, c.bitCount);
        EXPECT_EQ(m_reader.pixBytes(), c.bytes);
    }
}

TEST_F(Reading, RestoresThePalette)
{
    ZdPalette palette;
    open(MovieBuilder());
    EXPECT_FALSE(m_reader.palette(palette));
    ZdPalette standard;
    standard.initDefault();
    EXPECT_EQ(palette.name, standard.name);
    EXPECT_EQ(palette.size(), standard.size());
    open(MovieBuilder().attribute("pal_nbcols", "0"));
    EXPECT_TRUE(m_reader.palette(palette)) << "the default, but nothing was wrong";
    EXPECT_EQ(palette.size(), standard.size());
}

TEST_F(Reading, KeepsAttributesInMemory)
{
    const std::string bytes = threeFrames().attribute("f", "1.5").movie();
    openBytes(bytes);
    m_reader.setAttribute(text("i"), 3);
    m_reader.setAttribute(text("f"), 2.5F);
    m_reader.setAttribute(text("t"), text("u"));
    int number = -7;
    float real = 0;
    QString string;
    EXPECT_FALSE(m_reader.attribute(text("i"), number));
    EXPECT_TRUE(m_reader.attribute(text("plug_i"), number));
    EXPECT_EQ(number, 3);
    EXPECT_TRUE(m_reader.attribute(text("f"), real));
    EXPECT_EQ(real, 1.5F);
    EXPECT_TRUE(m_reader.attribute(text("plug_f"), real));
    EXPECT_EQ(real, 2.5F);
    EXPECT_TRUE(m_reader.attribute(text("plug_t"), string));
    EXPECT_EQ(string, text("u"));
    m_reader.removeAttribute(text("i"));
    EXPECT_TRUE(m_reader.attribute(text("plug_i"), number));
    m_reader.removeAttribute(text("plug_i"));
    EXPECT_FALSE(m_reader.attribute(text("plug_i"), number));
    m_reader.attributeChunk().set(text("width"), 12);
    EXPECT_TRUE(m_reader.width(number));
    EXPECT_EQ(number, 12);
    EXPECT_EQ(readFile(m_path), bytes);
    m_reader.reloadHeader();
    EXPECT_TRUE(m_reader.width(number));
    EXPECT_EQ(number, 4);
    EXPECT_FALSE(m_reader.attribute(text("plug_f"), real));
    m_reader.setAttribute(text("g"), 1);
    m_reader.open(m_path);
    EXPECT_FALSE(m_reader.attribute(text("plug_g"), number));
}

TEST_F(Reading, TurnsSamplesRound)
{
    const std::string bytes = hex("12345678 9ABCDEF0");
    const auto first = [&](int type, const char* endian) {
        MovieBuilder movie;
        movie.frame(bytes).frameFormat(8 / std::max(1, GetPixBits(static_cast<ZDImagePixelType>(type)) / 8), 1, type,
                                       16);
        open(movie.attribute("endian", endian));
        return frame(0);
    };
    const std::string swapped16 = hex("34127856 BC9AF0DE");
    const std::string swapped32 = hex("78563412 F0DEBC9A");
    for (const int type : {ZD_USHORT, ZD_SHORT})
        EXPECT_EQ(first(type, "1"), swapped16) << type;
    for (const int type : {ZD_FLOAT, ZD_UINT, ZD_INT, ZD_ULONG, ZD_LONG, ZD_RGBA})
        EXPECT_EQ(first(type, "1"), swapped32) << type;
    for (const int type : std::initializer_list<int>{ZD_UCHAR, ZD_CHAR, ZD_DOUBLE, ZD_RGB, ZD_UNKNOWN, 99})
        EXPECT_EQ(first(type, "1"), bytes) << type;
    for (const char* endian : {"2", "0", "two", "4294967297"})
        EXPECT_EQ(first(ZD_USHORT, endian), bytes) << endian;
    for (const char* endian : {"-2", "3", "2147483647"})
        EXPECT_EQ(first(ZD_USHORT, endian), swapped16) << endian;

    open(MovieBuilder().frame(bytes).frame(bytes).frameFormat(4, 1, 5, 16).attribute("endian", "2"));
    EXPECT_EQ(frame(0), bytes);
    m_reader.attributeChunk().set(text("endian"), 1);
    EXPECT_EQ(frame(0), swapped16) << "the header is asked again when it has changed";
    m_reader.attributeChunk().erase(text("endian"));
    EXPECT_EQ(frame(0), bytes);
    AttributeChunk::Map& entries = m_reader.attributeChunk().attributes();
    EXPECT_EQ(frame(0), bytes);
    entries[text("endian")].assign(1);
    EXPECT_EQ(frame(0), swapped16) << "changed through a reference that was kept";

    open(MovieBuilder().frame(bytes).frame(bytes).frameFormat(4, 1, 5, 16).attribute("endian", "1"));
    const void* one = nullptr;
    const void* other = nullptr;
    ASSERT_TRUE(m_reader.getFrame(one, 0) && m_reader.getFrame(other, 1));
    EXPECT_EQ(one, other) << "frames of one size reuse the work buffer";
    open(MovieBuilder().frame(bytes).attribute("pixbits", "16").attribute("width", "4").attribute("endian", "1"));
    EXPECT_EQ(frame(0), "null") << "no height";
    EXPECT_EQ(m_reader.currFrameIdx(), 0);
    open(MovieBuilder().frame(bytes).attribute("width", "4").attribute("height", "1").attribute("endian", "1"));
    EXPECT_EQ(frame(0), bytes) << "no sample size";
}

TEST_F(Reading, SwapsNoMoreThanThereIs)
{
    const auto swapped = [this](int width, int height, const std::string& bytes) {
        open(MovieBuilder().frame(bytes).frameFormat(width, height, 5, 16).attribute("endian", "1"));
        return frame(0);
    };
    EXPECT_EQ(swapped(4, 1, hex("1234 56")), hex("3412 0000 0000 0000")) << "what is missing is 0";
    EXPECT_EQ(swapped(1, 1, hex("1234 5678")), hex("3412")) << "what is too much is not delivered";
    EXPECT_EQ(swapped(2, 1, ""), hex("0000 0000"));
    EXPECT_EQ(swapped(4096, 8192, "a").size(), std::size_t{64} << 20);
    Allocations allocations;
    for (const auto& [width, height] : {std::pair(0, 5),
                                        {-1, 5},
                                        {-4, -2},
                                        {65536, 65536},
                                        {46341, 46341},
                                        {4097, 8192},
                                        {2147483647, 2147483647},
                                        {-2147483647 - 1, 1},
                                        {32768, 65536}})
        EXPECT_EQ(swapped(width, height, "a"), "null") << width << " x " << height;
    EXPECT_LT(allocations.largest(), 1'000'000U);
}

TEST_F(Reading, ZerosFollowAFrameThatIsTooShort)
{
    const auto bytesAt = [this](unsigned int index, std::size_t size) {
        const void* data = nullptr;
        EXPECT_TRUE(m_reader.getFrame(data, index));
        return std::string(static_cast<const char*>(data), size);
    };
    open(MovieBuilder().frame("abc").frame(frames[1]).frameFormat(4, 2, 5, 16));
    EXPECT_EQ(bytesAt(0, 16), "abc" + std::string(13, '\0'));
    EXPECT_EQ(m_reader.frameSize(), 3) << "zeros are not counted";
    m_reader.attributeChunk().set(text("height"), 4);
    EXPECT_EQ(bytesAt(1, 32), frames[1] + std::string(16, '\0'));
    // A frame that was turned stays until another one is, whatever is filled up meanwhile.
    open(MovieBuilder().frame(frames[1]).frame("abc").frameFormat(4, 2, 5, 16).attribute("endian", "1"));
    const std::string turned = frame(0);
    const void* kept = nullptr;
    m_reader.getFrame(kept, 0);
    m_reader.attributeChunk().set(text("endian"), 2);
    EXPECT_EQ(bytesAt(1, 16), "abc" + std::string(13, '\0'));
    EXPECT_EQ(std::string(static_cast<const char*>(kept), 16), turned);
    const Allocations allocations;
    open(MovieBuilder().frame("abc").frameFormat(8192, 8193, 3, 8));
    EXPECT_EQ(bytesAt(0, 3), "abc");
    EXPECT_LT(allocations.largest(), 1'000'000U) << "more than 64 MiB";
}

TEST_F(Reading, DeliversTimesAndLaserPowers)
{
    open(threeFrames()
             .chunk(7, timeBytes(1, 2) + timeBytes(3, 4) + timeBytes(-5, 6))
             .chunk(8, std::string("\0\x7F\xFF", 3)));
    timeval time{9, 9};
    float power = 9;
    ASSERT_TRUE(m_reader.frameTiming(time) && m_reader.laserPower(power));
    EXPECT_EQ(time, (timeval{1, 2}));
    EXPECT_EQ(power, 0.0F);
    nextFrame();
    ASSERT_TRUE(m_reader.frameTiming(time) && m_reader.laserPower(power));
    EXPECT_EQ(time, (timeval{3, 4})) << "that of the next frame";
    EXPECT_EQ(power, 0.5F);
    nextFrame();
    EXPECT_FALSE(m_reader.laserPower(power)) << "not known";
    nextFrame();
    EXPECT_FALSE(m_reader.frameTiming(time));
    EXPECT_TRUE(m_reader.getFrameTiming(2, time));
    EXPECT_EQ(time, (timeval{-5, 6}));
    ::timeval system{9, 9};
    EXPECT_FALSE(m_reader.frameTiming(system) || m_reader.getFrameTiming(3, system));
    EXPECT_EQ(time = system, (timeval{9, 9})) << "the system's own type";
    EXPECT_TRUE(m_reader.getFrameTiming(2, system));
    EXPECT_EQ(time = system, (timeval{-5, 6}));
    EXPECT_FALSE(m_reader.getFrameTiming(3, time) || m_reader.getFrameTiming(0xFFFFFFFF, time));
    EXPECT_FALSE(m_reader.getLaserPower(2, power) || m_reader.getLaserPower(3, power));
    EXPECT_EQ(time, (timeval{-5, 6}));
    EXPECT_EQ(power, 0.5F) << "refusals leave the arguments alone";

    open(threeFrames().chunk(8, "\x01\xFE\x80"));
    ASSERT_TRUE(m_reader.getLaserPower(0, power));
    EXPECT_EQ(power, 1.0F / 254);
    ASSERT_TRUE(m_reader.getLaserPower(1, power));
    EXPECT_EQ(power, 1.0F);
    EXPECT_TRUE(m_reader.getFrameTimer().empty());
    for (const char* wrong : {"\x01\x02", "\x01\x02\x03\x04"}) {
        open(threeFrames().chunk(8, wrong).chunk(7, "12 bytes too"));
        EXPECT_FALSE(m_reader.getLaserPower(0, power) || m_reader.getFrameTiming(0, time)) << "no multiple of 8";
    }
    open(threeFrames().chunk(7, timeBytes(1, 2)).chunk(7, timeBytes(3, 4) + timeBytes(5, 6)));
    EXPECT_EQ(m_reader.getFrameTimer(), FrameTimer({{1, 2}})) << "the first chunk, however short";

    MovieBuilder old = threeFrames();
    old.attribute("frame_timer", "1").attribute("frame_timer_n0_sec", "7").attribute("frame_timer_n0_usec", "8");
    open(old);
    EXPECT_EQ(m_reader.getFrameTimer(), FrameTimer({{7, 8}}));
    open(old.chunk(7, ""));
    EXPECT_TRUE(m_reader.getFrameTimer().empty()) << "the chunk counts, not the attributes";
    open(MovieBuilder());
    EXPECT_TRUE(m_reader.getFrameTimer().empty());
}

TEST_F(Reading, DeliversTheBundleBox)
{
    std::vector<float> box{7};
    MovieBuilder movie;
    movie.attribute("bbox_min_x", "110").attribute("bbox_min_y", "-2e1").attribute("bbox_max_x", "10.5");
    open(movie);
    EXPECT_FALSE(m_reader.getBundleBoundingBox(box));
    EXPECT_TRUE(box.empty());
    open(movie.attribute("bbox_max_y", "many"));
    box = {7};
    EXPECT_FALSE(m_reader.getBundleBoundingBox(box));
    EXPECT_TRUE(box.empty());
    m_reader.attributeChunk().set(text("bbox_max_y"), 3.0F);
    EXPECT_TRUE(m_reader.getBundleBoundingBox(box));
    EXPECT_EQ(box, (std::vector<float>{110, -20, 10.5F, 3}));
}

TEST_F(Reading, FollowsItsStates)
{
    open(threeFrames().chunk(7, timeBytes(1, 2)).attribute("comment", "first"));
    nextFrame();
    m_reader.close();
    int width = 0;
    EXPECT_TRUE(m_reader.width(width));
    EXPECT_EQ(m_reader.nbFrames(), 3);
    EXPECT_EQ(m_reader.currFrameIdx(), 1);
    EXPECT_EQ(m_reader.getComment(), text("first"));
    EXPECT_EQ(m_reader.getFrameTimer().size(), 1U);
    EXPECT_EQ(frame(0), "none");
    EXPECT_EQ(nextFrame(), "none");
    EXPECT_EQ(m_reader.nbFibers(ImageReader::NoFiberFiltering), 0);
    QImage image;
    EXPECT_FALSE(m_reader.thumbnail(image, 160, 120, 0));
    EXPECT_EQ(reportOf([&] { m_reader.reloadHeader(); }), "IR_MISSINFO: File : missing info, bad file format.");
    EXPECT_TRUE(m_reader.width(width));
    m_reader.close();

    EXPECT_EQ(codeOf([&] { m_reader.open(m_directory.path("none")); }), "FR_OF_STAT");
    EXPECT_FALSE(m_reader.width(width));
    EXPECT_EQ(m_reader.nbFrames(), 0);
    EXPECT_TRUE(m_reader.getFrameTimer().empty());
    EXPECT_EQ(frame(0), "none");

    EXPECT_EQ(codeOfOpening(chunk(2, "frame")), "IR_MISSINFO");
    EXPECT_EQ(m_reader.nbFrames(), 0);
    EXPECT_EQ(frame(0), "none");
    open(MovieBuilder().frame("x"));
    EXPECT_EQ(m_reader.nbFrames(), 1);
    EXPECT_EQ(m_reader.currFrameIdx(), 0);
    ImageReader second(m_path);
    EXPECT_EQ(second.nbFrames(), 1);
    EXPECT_EQ(codeOf([&] { ImageReader third(m_directory.path("none")); }), "FR_OF_STAT");
}

TEST_F(Reading, ReloadsOnlyTheHeader)
{
    open(threeFrames().chunk(7, timeBytes(1, 2)).chunk(8, "\x01\x02\x03").attribute("comment", "old"));
    const Descriptor file(m_path, O_RDWR);
    const std::string shorter =
        MovieBuilder().frame(frames[0]).frameFormat(4, 2, 5, 16).attribute("comment", "new").movie();
    file.put(0, shorter);
    ASSERT_EQ(ftruncate(file.get(), static_cast<off_t>(shorter.size())), 0);
    m_reader.reloadHeader();
    EXPECT_EQ(m_reader.getComment(), text("new"));
    EXPECT_EQ(m_reader.nbFrames(), 3);
    ASSERT_TRUE(m_reader.index().has(ZD_FRAME_CHUNK));
    EXPECT_EQ(m_reader.index().find(ZD_FRAME_CHUNK)->second, (std::vector<ChunkRecord>{{0, 16}}));
    EXPECT_EQ(m_reader.getFrameTimer().size(), 1U);
    float power = 0;
    EXPECT_TRUE(m_reader.getLaserPower(2, power));
    EXPECT_EQ(frame(0), frames[0]);
    const void* untouched = this;
    EXPECT_EQ(codeOf([&] { m_reader.getFrame(untouched, 1); }), "IR_RC_BOUND");
    EXPECT_EQ(untouched, this);
    EXPECT_EQ(m_reader.currFrameIdx(), 0);

    ASSERT_EQ(ftruncate(file.get(), 48), 0);
    EXPECT_EQ(reportOf([&] { m_reader.reloadHeader(); }),
              "IR_MISSINFO: File " + m_path.toStdString() + ": missing info, bad file format.");
    EXPECT_EQ(m_reader.getComment(), text("new")) << "a failure comes before the header is cleared";
    EXPECT_EQ(frame(0), frames[0]);
}

TEST_F(Reading, OpensNothingButMovies)
{
    for (const std::string& bytes :
         {std::string(), std::string(15, 'x'), threeFrames().unfinished(), threeFrames().movie() + chunk(2, frames[0])})
        EXPECT_EQ(codeOfOpening(bytes), "IR_MISSINFO") << bytes.size();
    EXPECT_EQ(codeOfOpening(std::string(16, 'x')), "CHB_LFD_PARSE");
    EXPECT_EQ(codeOfOpening(withoutTail(threeFrames().movie(), 1)), "CHB_LFD_PARSE");
    EXPECT_EQ(codeOfOpening(chunk(5, "")), "CI_L_CHUNK");
    EXPECT_EQ(codeOfOpening(chunk(5, word(1))), "CI_L_CHUNK");
    EXPECT_EQ(codeOfOpening(chunk(5, word(0x15555555))), "CI_L_CHUNK") << "4 + 12 n would be 0 in 32 bits";
    EXPECT_EQ(m_reader.nbFrames(), 0);
    EXPECT_EQ(codeOfOpening(chunk(5, word(0))), "");

    Allocations allocations;
    const std::string end = chunk(5, "").substr(16);
    for (const std::uint32_t size : {1U, 16U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFF0U, 0xFFFFFFFFU})
        EXPECT_EQ(codeOfOpening(withBytes(end, 10, wordBigEndian(size))), "IR_MISSINFO") << size;
    EXPECT_LT(allocations.largest(), 1'000'000U);

    const std::string whole = threeFrames().chunk(7, timeBytes(1, 2)).movie();
    EXPECT_EQ(codeOfOpening(withBytes(whole, 144, "X")), "CHB_LFD_PARSE") << "the frame timer's header";
    EXPECT_EQ(m_reader.nbFrames(), 3) << "known by then";
    EXPECT_EQ(frame(1), frames[1]);
    EXPECT_EQ(codeOfOpening(withBytes(whole, 144 + 9, "\x06")), "");
    EXPECT_TRUE(m_reader.getFrameTimer().empty()) << "another chunk lies there";

    EXPECT_EQ(codeOf([&] { m_reader.open(m_directory.path("")); }), "FR_OF_REGFILE");
    const Descriptor file(m_path, O_RDWR);
    ASSERT_EQ(ftruncate(file.get(), off_t{1} << 32), 0);
    EXPECT_EQ(reportOf([&] { m_reader.open(m_path); }), described("MM_SE_SEEK", EOVERFLOW));
}

// The header of a long movie is read piece by piece.
TEST_F(Reading, OpensALongMovieOrNone)
{
    constexpr unsigned int count = 20'000;
    MovieBuilder movie = threeFrames();
    for (unsigned int i = 3; i < count; ++i)
        movie.record(2, 48 * (i % 3), 16);
    std::string times;
    for (unsigned int i = 0; i < count; ++i)
        times += timeBytes(static_cast<int>(i), 7);
    const std::string bytes = movie.chunk(7, times).attribute("comment", "long").movie();
    {
        const Allocations allocations;
        openBytes(bytes);
        EXPECT_LT(allocations.largest(), 300'000U) << "neither the file nor the header is in memory as a whole";
    }
    ASSERT_EQ(m_reader.nbFrames(), static_cast<int>(count));
    EXPECT_EQ(frame(count - 1), frames[(count - 1) % 3]);
    EXPECT_EQ(m_reader.getFrameTimer().size(), count);
    EXPECT_EQ(m_reader.getFrameTimer().back(), (timeval{static_cast<int>(count) - 1, 7}));
    m_reader.reloadHeader();
    EXPECT_EQ(m_reader.getComment(), text("long"));

    const LogCapture silence(0);
    int withHeader = 0;
    bool struck = true;
    for (int n = 1; struck; ++n) {
        SCOPED_TRACE(n);
        Faults faults({.at = n, .error = EIO, .share = Share::Half, .among = call::readPieces});
        const std::string code = codeOf([&] { m_reader.open(m_path); });
        struck = faults.struck();
        if (m_reader.nbFrames() == 0) {
            EXPECT_TRUE(code == "IR_MISSINFO" || code == "CHB_LDF_READ") << code;
            EXPECT_EQ(m_reader.getComment(), QString());
        } else {
            ++withHeader;
            EXPECT_EQ(m_reader.nbFrames(), static_cast<int>(count));
            EXPECT_EQ(m_reader.getComment(), text("long"));
            EXPECT_EQ(m_reader.getFrameTimer().size(), struck ? 0 : count);
        }
    }
    EXPECT_EQ(withHeader, 3) << "the times' header fails, their reading fails, nothing fails";
}

TEST_F(Reading, LeavesLargePartsAlone)
{
    const MovieBuilder movie =
        threeFrames().frame(countingFrame(70000, 'L')).chunk(7, std::string(8000, '\1')).chunk(8, "\x10\x20\x30\x40");
    const auto info = static_cast<std::uint32_t>(movie.infoPayload().size());
    m_reader.setPayloadLimit(info - 1);
    EXPECT_EQ(codeOf([&] { open(movie); }), "IR_MISSINFO");
    m_reader.setPayloadLimit(info);
    open(movie);
    EXPECT_EQ(m_reader.getFrameTimer().size(), 0U);
    float power = 0;
    EXPECT_TRUE(m_reader.getLaserPower(0, power));

    m_reader.setPayloadLimit(16);
    for (unsigned index = 0; index < 3; ++index)
        EXPECT_EQ(frame(index), frames[index]);
    EXPECT_EQ(frame(3), "none");
    m_reader.setPayloadLimit(15); // also what has been read ahead
    EXPECT_EQ(frame(1), "none");
    m_reader.setPayloadLimit(70000);
    EXPECT_EQ(frame(3), countingFrame(70000, 'L'));
}

TEST_F(Reading, GetsPastDamagedFrames)
{
    MovieBuilder movie;
    movie.frame(frames[0]).frame(frames[1]).chunk(3, frames[2]).record(2, 96, 16).record(2, 0xFFFFFFF0, 16);
    movie.record(2, 0xFFFFFFFF, 1).record(2, 44, 16);
    const std::string bytes = withBytes(movie.frameFormat(4, 2, 5, 16).movie(), 48, "X");
    openBytes(bytes);
    ASSERT_EQ(m_reader.nbFrames(), 6);
    EXPECT_EQ(nextFrame(), frames[0]);
    EXPECT_EQ(codeOf([&] { nextFrame(); }), "CHB_LFD_PARSE");
    EXPECT_EQ(m_reader.currFrameIdx(), 2) << "a walk gets past it";
    EXPECT_EQ(nextFrame(), "none") << "another type";
    EXPECT_EQ(nextFrame(), "none") << "beyond the end";
    EXPECT_EQ(nextFrame(), "none") << "no position at all";
    EXPECT_EQ(codeOf([&] { frame(5); }), "CHB_LFD_PARSE");
    EXPECT_EQ(m_reader.currFrameIdx(), 5) << "getFrame moves the cursor only for a frame";
    EXPECT_EQ(frame(0), frames[0]);

    Allocations allocations;
    for (const std::uint32_t size : {1000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        openBytes(withBytes(bytes, 10, wordBigEndian(size)));
        EXPECT_EQ(frame(0), "none") << "the payload is cut short";
    }
    EXPECT_LT(allocations.largest(), 1'000'000U);
}

TEST_F(Reading, FailuresOfTheSystemPassThrough)
{
    writeFile(m_path, threeFrames().chunk(7, timeBytes(1, 2)).chunk(8, "\x01\x02\x03").movie());
    std::optional<ImageReader> reader;
    const auto review = [&] {
        reader->open(m_path);
        const void* data = nullptr;
        const bool got = reader->getFrame(data, 2);
        EXPECT_TRUE(!got || std::memcmp(data, frames[2].data(), 16) == 0);
        char pixels[16];
        const bool read = reader->readFrame(1, pixels, 16);
        EXPECT_TRUE(!read || std::string(pixels, 16) == frames[1]);
        return got && read;
    };
    bool complete = false;
    const auto check = [&](const std::string& code) {
        const std::string known[] = {"", "FR_OF_STAT", "FR_OF_OPEN", "IR_MISSINFO", "CHB_LDF_READ", "MM_SE_SEEK"};
        EXPECT_NE(std::find(std::begin(known), std::end(known), code), std::end(known)) << code;
        EXPECT_TRUE(review()) << "all is well again";
    };
    const int failures = withEveryFault(
        {.error = EIO}, [&] { reader.emplace(); }, [&] { complete = review(); }, check);
    EXPECT_TRUE(complete) << "no fault struck the last run";
    EXPECT_GT(failures, 5);
}

} // namespace

} // namespace zd
