#include <libdataio/imagereader.h>

#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QImage>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace zd {

namespace {

using namespace test;

std::string samples16(std::initializer_list<int> values)
{
    std::string bytes;
    for (const int value : values)
        bytes += word(static_cast<std::uint32_t>(value)).substr(0, 2);
    return bytes;
}

/// A frame of 16-bit samples of one value, but for the first ones.
std::string frame16(int width, int height, int value, std::initializer_list<int> first = {})
{
    std::string bytes = samples16(first);
    while (bytes.size() < static_cast<std::size_t>(width * height) * 2)
        bytes += samples16({value});
    return bytes;
}

MovieBuilder movieOf(const std::string& frame, int width, int height, int type)
{
    return MovieBuilder().frame(frame).frameFormat(width, height, type, 16);
}

/// A palette from black to red over a crop range.
MovieBuilder withPalette(MovieBuilder movie, const char* cropMin, const char* cropMax)
{
    for (const char* key : {"n0_val", "n0_r", "n0_g", "n0_b", "n1_g", "n1_b"})
        movie.attribute(std::string("pal_") + key, "0");
    return movie.attribute("pal_n1_val", "1")
        .attribute("pal_n1_r", "1")
        .attribute("pal_nbcols", "2")
        .attribute("pal_cropMin", cropMin)
        .attribute("pal_cropMax", cropMax);
}

int redOf(const QImage& image, int x, int y)
{
    const QRgb color = image.pixel(x, y);
    EXPECT_EQ(qAlpha(color), 255);
    EXPECT_EQ(qGreen(color) + qBlue(color), 0);
    return qRed(color);
}

class Thumbnail : public testing::Test {
protected:
    /// The thumbnail of frame 0; null when there is none, and then the image given was left alone.
    QImage thumbnailOf(const MovieBuilder& movie, int maxWidth, int maxHeight, int frame = 0)
    {
        writeFile(m_path, movie.movie());
        ImageReader reader(m_path);
        const QImage untouched(1, 1, QImage::Format_Mono);
        QImage image = untouched;
        if (reader.thumbnail(image, maxWidth, maxHeight, frame))
            return image;
        EXPECT_EQ(image.cacheKey(), untouched.cacheKey());
        return {};
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie %1%3.vqf");
};

TEST_F(Thumbnail, ShowsEightBitSamplesAsTheyAre)
{
    const std::string frame = hex("00 01 02 FF 80 7F 10 20");
    const QImage same = thumbnailOf(movieOf(frame, 4, 2, ZD_UCHAR), 4, 2);
    ASSERT_EQ(same.size(), QSize(4, 2));
    EXPECT_EQ(same.format(), QImage::Format_Indexed8);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(same.constScanLine(0)), 4), frame.substr(0, 4));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(same.constScanLine(1)), 4), frame.substr(4));
    ASSERT_EQ(same.colorCount(), 256);
    EXPECT_EQ(same.color(0), qRgb(0, 0, 0)) << "the lowest value is black";
    EXPECT_EQ(same.color(0x80), qRgb(128, 128, 128));
    EXPECT_EQ(same.color(0xFF), qRgb(255, 255, 255));

    const QImage withSigns = thumbnailOf(movieOf(frame, 4, 2, ZD_CHAR), 4, 2);
    EXPECT_EQ(withSigns.pixelIndex(0, 1), 0x80);
    EXPECT_EQ(withSigns.color(0x80), qRgb(0, 0, 0)) << "-128";
    EXPECT_EQ(withSigns.color(0x7F), qRgb(255, 255, 255));
    EXPECT_EQ(withSigns.color(0x81), withSigns.color(0)) << "the crop range is raised to 0 even here";

    const QImage coloured = thumbnailOf(withPalette(movieOf(frame, 4, 2, ZD_UCHAR), "0", "255"), 4, 2);
    EXPECT_EQ(coloured.color(0), qRgb(0, 0, 0));
    EXPECT_EQ(coloured.color(100), qRgb(100, 0, 0));
    EXPECT_EQ(coloured.color(255), qRgb(255, 0, 0));
}

TEST_F(Thumbnail, StretchesThePaletteOverTheContrast)
{
    LogCapture log(3);
    // The first row lies outside the middle that is measured.
    const std::string frame = frame16(40, 40, 100, {132, 116, 100, 0, 1000, -32768});
    const QImage image = thumbnailOf(withPalette(movieOf(frame, 40, 40, ZD_SHORT), "0", "1000"), 40, 40);
    ASSERT_EQ(image.size(), QSize(40, 40));
    EXPECT_EQ(redOf(image, 0, 0), 255);
    EXPECT_NEAR(redOf(image, 1, 0), 128, 1);
    EXPECT_EQ(redOf(image, 2, 0), 0);
    EXPECT_EQ(redOf(image, 3, 0), 0) << "below the nodes";
    EXPECT_EQ(redOf(image, 4, 0), 255) << "above the nodes";
    EXPECT_EQ(redOf(image, 39, 39), 0);
    EXPECT_EQ(log.records.size(), 0U);

    const auto pair = [](int first, int second, const char* endian) {
        return withPalette(movieOf(samples16({first, second}), 2, 1, ZD_USHORT), "0", "1000")
            .attribute("endian", endian);
    };
    EXPECT_EQ(thumbnailOf(pair(0x0001, 0x6400, "1"), 2, 1), thumbnailOf(pair(0x0100, 0x0064, "2"), 2, 1));
}

TEST_F(Thumbnail, AsksForThePaletteAgainWhenItMayHaveChanged)
{
    writeFile(m_path, withPalette(movieOf(frame16(40, 40, 100, {1000}), 40, 40, ZD_SHORT), "0", "1000").movie());
    ImageReader reader(m_path);
    const auto brightest = [&reader] {
        QImage image;
        EXPECT_TRUE(reader.thumbnail(image, 40, 40, 0));
        return image.pixel(0, 0);
    };
    EXPECT_EQ(brightest(), qRgb(255, 0, 0));
    EXPECT_EQ(brightest(), qRgb(255, 0, 0));
    reader.attributeChunk().set(QStringLiteral("pal_n1_b"), 1);
    EXPECT_EQ(brightest(), qRgb(255, 0, 255));
    reader.attributeChunk().erase(QStringLiteral("pal_nbcols"));
    EXPECT_EQ(brightest(), qRgb(255, 255, 255)) << "the default palette ends in white";
}

TEST_F(Thumbnail, TellsWhereContrastAndPaletteDoNotFit)
{
    const std::string file = ",fileName=[" + m_path.toStdString() + "]";
    const auto warnings = [this](int width, int height, int value, const char* cropMin, const char* cropMax) {
        LogCapture log(2);
        const QImage image =
            thumbnailOf(withPalette(movieOf(frame16(width, height, value), width, height, ZD_SHORT), cropMin, cropMax),
                        width, height);
        EXPECT_FALSE(image.isNull()) << "it is made all the same";
        std::vector<std::string> messages;
        for (const LogRecord& record : log.records) {
            EXPECT_EQ(record.logger, QStringLiteral("dataio.imagereader"));
            EXPECT_EQ(record.level, 2);
            EXPECT_EQ(record.origin, Library);
            EXPECT_EQ(record.code, QStringLiteral("PIXOUTOFRANGE"));
            EXPECT_NE(std::strstr(record.location.function, "zd::ImageReader::thumbnail("), nullptr);
            messages.push_back(record.message.toStdString());
        }
        return messages;
    };
    using Messages = std::vector<std::string>;
    const std::string low = "Min value ouside crop range. min=";
    const std::string high = "Max value outside crop range. max=";
    EXPECT_EQ(warnings(40, 40, 100, "50", "200"), Messages());
    EXPECT_EQ(warnings(40, 40, 100, "110", "200"), Messages({low + "[100],cropMin=[110],cropMax=[200]" + file}));
    EXPECT_EQ(warnings(40, 40, 100, "0", "120"), Messages({high + "[132],cropMin=[0],cropMax=[120]" + file}));
    EXPECT_EQ(warnings(40, 40, 100, "200", "1000"), Messages({low + "[100],cropMin=[200],cropMax=[1000]" + file,
                                                              high + "[132],cropMin=[200],cropMax=[1000]" + file}));
    EXPECT_EQ(warnings(40, 1, 100, "0", "1000"), Messages({low + "[16383],cropMin=[0],cropMax=[1000]" + file,
                                                           high + "[16415],cropMin=[0],cropMax=[1000]" + file}))
        << "one row has no middle";
    EXPECT_EQ(warnings(40, 40, 100, "70", "70"), Messages({"Bad pelette range. cropMin=[70],cropMax=[70]" + file}));

    LogCapture errorsOnly(1);
    EXPECT_FALSE(thumbnailOf(withPalette(movieOf(frame16(4, 4, 1), 4, 4, ZD_SHORT), "70", "70"), 4, 4).isNull());
    EXPECT_EQ(errorsOnly.records.size(), 0U);
}

TEST_F(Thumbnail, DrawsTheMaskLevelBlack)
{
    const std::string frame = frame16(40, 40, 100, {132, -32768, 4095, -1});
    const auto firstRow = [&](const char* maskLevel, int type) {
        MovieBuilder movie = withPalette(movieOf(frame, 40, 40, type), "0", "1000");
        if (maskLevel != nullptr)
            movie.attribute("mask_level", maskLevel);
        const QImage image = thumbnailOf(movie, 40, 40);
        std::string row;
        for (int x = 0; x < 4; ++x)
            row += redOf(image, x, 0) == 0 ? 'b' : 'r';
        return row;
    };
    EXPECT_EQ(firstRow(nullptr, ZD_SHORT), "rbrb") << "below the nodes it is black anyhow";
    EXPECT_EQ(firstRow("4095", ZD_USHORT), "rbbb");
    EXPECT_EQ(firstRow("69631", ZD_USHORT), "rbbb") << "modulo 65536";
    EXPECT_EQ(firstRow("132", ZD_SHORT), "bbrb");

    MovieBuilder movie = withPalette(movieOf(frame, 40, 40, ZD_USHORT), "0", "1000");
    movie.attribute("pal_n0_r", "1"); // red everywhere: only the mask level is black
    const QImage image = thumbnailOf(movie, 40, 40);
    EXPECT_EQ(redOf(image, 1, 0), 0) << "32768 is -32768 here";
    EXPECT_EQ(redOf(image, 3, 0), 255);
    EXPECT_EQ(redOf(thumbnailOf(movie.attribute("mask_level", "-1"), 40, 40), 3, 0), 0);
}

TEST_F(Thumbnail, SignalsGetTheStockPicture)
{
    const MovieBuilder signal = movieOf(frame16(512, 1, 3), 512, 1, ZD_SHORT).attribute("datadimension", "1");
    const QImage stock = thumbnailOf(signal, 160, 120);
    EXPECT_EQ(stock.size(), QSize(160, 120));
    for (const auto& [maxWidth, maxHeight] : {std::pair(10, 10), {5000, 1}, {0, -1}, {2147483647, 2147483647}})
        EXPECT_EQ(thumbnailOf(signal, maxWidth, maxHeight), stock);
    EXPECT_TRUE(thumbnailOf(signal, 160, 120, 1).isNull()) << "there is no such frame";

    const MovieBuilder picture = movieOf(frame16(16, 12, 3), 16, 12, ZD_USHORT);
    EXPECT_EQ(thumbnailOf(MovieBuilder(picture).attribute("datadimension", "2"), 16, 12), thumbnailOf(picture, 16, 12));
    for (const char* dimension : {"0", "3", "-1"})
        EXPECT_TRUE(thumbnailOf(MovieBuilder(picture).attribute("datadimension", dimension), 16, 12).isNull());
    EXPECT_EQ(thumbnailOf(MovieBuilder(picture).attribute("datadimension", "two"), 16, 12).size(), QSize(16, 12));
    const MovieBuilder bytes = movieOf(std::string(192, 'x'), 16, 12, ZD_UCHAR).attribute("datadimension", "1");
    EXPECT_EQ(thumbnailOf(bytes, 16, 12).format(), QImage::Format_Indexed8) << "8-bit movies are pictures";
}

TEST_F(Thumbnail, HasItsLimits)
{
    LogCapture log(3);
    const std::string frame = frame16(4, 4, 7);
    for (const int type : {ZD_UNKNOWN, ZD_FLOAT, ZD_DOUBLE, ZD_UINT, ZD_INT, ZD_ULONG, ZD_LONG, ZD_RGB, ZD_RGBA})
        EXPECT_TRUE(thumbnailOf(movieOf(frame, 4, 4, type), 4, 4).isNull()) << type;
    for (const char* side : {"width", "height"}) {
        for (const char* value : {"0", "-4", "none"})
            EXPECT_TRUE(thumbnailOf(movieOf(frame, 4, 4, ZD_SHORT).attribute(side, value), 4, 4).isNull());
    }
    for (const int index : {-1, 1, 2147483647})
        EXPECT_TRUE(thumbnailOf(movieOf(frame, 4, 4, ZD_SHORT), 4, 4, index).isNull());
    const MovieBuilder undelivered = movieOf("x", 65536, 65536, ZD_USHORT).attribute("endian", "1");
    EXPECT_TRUE(thumbnailOf(undelivered, 160, 120).isNull());
    EXPECT_EQ(thumbnailOf(movieOf("", 2147483647, 2147483647, ZD_USHORT), 160, 120).size(), QSize(119, 119));
    EXPECT_EQ(log.records.size(), 0U);
}

} // namespace

} // namespace zd
