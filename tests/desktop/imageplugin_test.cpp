#include <common/iofileexception.h>
#include <libdataio/imagereader.h>
#include <log/logger.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>

#include <gtest/gtest.h>

#include <QBuffer>
#include <QDirIterator>
#include <QFile>
#include <QGuiApplication>
#include <QImageReader>
#include <QMimeDatabase>
#include <QMovie>
#include <QTemporaryDir>

#include <cstring>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zd {

namespace {

using namespace test;

template <typename Sample>
std::string bytesOf(std::initializer_list<Sample> samples)
{
    return {reinterpret_cast<const char*>(samples.begin()), samples.size() * sizeof(Sample)};
}

/// The colours of a picture, row by row, as six hexadecimal digits each.
std::string colors(const QImage& picture)
{
    QString text;
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            text += QStringLiteral("%1 ").arg(picture.pixel(x, y) & 0xFFFFFF, 6, 16, QLatin1Char('0'));
    return text.trimmed().toStdString();
}

/// A palette from red at 100 by green to blue at 200.
MovieBuilder& withPalette(MovieBuilder& movie)
{
    movie.attribute("pal_nbcols", "3").attribute("pal_cropMin", "100").attribute("pal_cropMax", "200");
    const char* const nodes[][4] = {{"0.0", "1", "0", "0"}, {"0.5", "0", "1", "0"}, {"1.0", "0", "0", "1"}};
    for (std::size_t node = 0; node < 3; ++node)
        for (std::size_t part = 0; part < 4; ++part)
            movie.attribute("pal_n" + std::to_string(node) + "_" + std::array{"val", "r", "g", "b"}[part],
                            nodes[node][part]);
    return movie;
}

class ImagePlugin : public testing::Test {
protected:
    /// The file's frames as Qt's reader delivers them; "-" for those that it cannot.
    std::vector<std::string> pictures(const std::string& file)
    {
        writeFile(m_path, file);
        QImageReader reader(m_path);
        std::vector<std::string> all;
        while (reader.canRead()) {
            const QImage picture = reader.read();
            all.push_back(picture.isNull() ? "-" : colors(picture));
        }
        return all;
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie"); // the content decides, not the name
};

using Pictures = std::vector<std::string>;

TEST_F(ImagePlugin, DrawsEveryPixelType)
{
    const double far = 1e300;
    const float none = std::numeric_limits<float>::quiet_NaN();
    const struct {
        ZDImagePixelType type;
        std::string frame; // of 3 x 1
        const char* colors;
    } cases[] = {
        {ZD_UCHAR, "\x10\x80\xFF", "101010 808080 ffffff"},
        {ZD_CHAR, std::string("\x80\x00\x7F", 3), "000000 808080 ffffff"},
        {ZD_USHORT, bytesOf<std::uint16_t>({1000, 41000, 1000 + 51000}), "000000 c8c8c8 ffffff"},
        {ZD_SHORT, bytesOf<std::int16_t>({-100, 0, 155}), "000000 646464 ffffff"},
        {ZD_UINT, bytesOf<std::uint32_t>({0xFFFFFF00U, 0xFFFFFF80U, 0xFFFFFFFFU}), "000000 808080 ffffff"},
        {ZD_LONG, bytesOf<std::int32_t>({-2'000'000'000, 100'000'000, 2'000'000'000}), "000000 868686 ffffff"},
        {ZD_FLOAT, bytesOf({0.0F, none, 0.5F}), "000000 000000 ffffff"},
        {ZD_DOUBLE, bytesOf({-far, 0.0, far}), "000000 808080 ffffff"},
        {ZD_RGB, "\x01\x02\x03\x11\x12\x13\x21\x22\x23", "010203 111213 212223"},
        {ZD_RGBA, "\x01\x02\x03\xFF\x11\x12\x13\xFF\x21\x22\x23\xFF", "010203 111213 212223"},
        {ZD_UINT, bytesOf<std::uint32_t>({7, 7, 7}), "000000 000000 000000"},
        {ZD_UCHAR, "\x10", "101010 000000 000000"}, // cut short
    };
    for (const auto& c : cases)
        EXPECT_EQ(pictures(MovieBuilder().frameFormat(3, 1, c.type, GetPixBits(c.type)).frame(c.frame).movie()),
                  Pictures{c.colors})
            << c.type;

    // One scale for the whole movie: brightness does not flicker. Samples in the other byte order are turned.
    MovieBuilder movie;
    movie.frameFormat(2, 1, ZD_USHORT, 16).frame(bytesOf<std::uint16_t>({0, 255}));
    movie.frame(bytesOf<std::uint16_t>({51, 999}));
    EXPECT_EQ(pictures(movie.movie()), (Pictures{"000000 ffffff", "333333 ffffff"}));
    MovieBuilder turned;
    turned.frameFormat(2, 1, ZD_USHORT, 16).attribute("endian", "1").frame(std::string("\x00\x00\x00\xFF", 4));
    EXPECT_EQ(pictures(turned.frame(std::string("\x00\x33\x03\x00", 4)).movie()),
              (Pictures{"000000 ffffff", "333333 ffffff"}));
}

TEST_F(ImagePlugin, DrawsThroughThePalette)
{
    const std::string expected = "ff0000 ff0000 808000 00ff00 0000ff 0000ff";
    MovieBuilder bytes;
    withPalette(bytes.frameFormat(6, 1, ZD_UCHAR, 8)).frame("\x01\x64\x7D\x96\xC8\xC9");
    EXPECT_EQ(pictures(bytes.movie()), Pictures{expected});
    MovieBuilder floats;
    withPalette(floats.frameFormat(6, 1, ZD_FLOAT, 32)).frame(bytesOf({-1e30F, 100.F, 125.F, 150.F, 200.F, 1e30F}));
    EXPECT_EQ(pictures(floats.movie()), Pictures{expected});

    // A palette that covers no range is stretched over the contrast.
    MovieBuilder narrow;
    withPalette(narrow.frameFormat(3, 1, ZD_SHORT, 16)).attribute("pal_cropMin", "200");
    EXPECT_EQ(pictures(narrow.frame(bytesOf<std::int16_t>({-2, 0, 2})).movie()), Pictures{"ff0000 00ff00 0000ff"});
}

TEST_F(ImagePlugin, PlaysMovies)
{
    MovieBuilder movie;
    movie.frameFormat(1, 1, ZD_UCHAR, 8).attribute("comment", "two\alines").frame("A").frame("B").frame("C");
    const std::string times = timeBytes(10, 0) + timeBytes(10, 40'400) + timeBytes(11, 540'400);
    writeFile(m_path, movie.chunk(7, times).movie());

    QImageReader reader(m_path);
    EXPECT_EQ(reader.format(), "vqf");
    EXPECT_EQ(reader.size(), QSize(1, 1));
    EXPECT_EQ(reader.imageCount(), 3);
    EXPECT_TRUE(reader.supportsAnimation());
    EXPECT_EQ(reader.text(QStringLiteral("Comment")), QStringLiteral("two lines")); // as Qt folds texts
    std::string played;
    while (reader.canRead())
        played += colors(reader.read()), played += " for " + std::to_string(reader.nextImageDelay()) + ", ";
    EXPECT_EQ(played, "414141 for 40, 424242 for 1500, 434343 for 1500, ");
    EXPECT_TRUE(reader.jumpToImage(1) && !reader.jumpToImage(3) && !reader.jumpToImage(-1));
    EXPECT_EQ(reader.currentImageNumber(), 1);
    EXPECT_EQ(colors(reader.read()), "424242");
    EXPECT_TRUE(reader.jumpToNextImage());
    EXPECT_EQ(colors(reader.read()), "434343");
    EXPECT_FALSE(reader.jumpToNextImage());

    QMovie player(m_path);
    EXPECT_EQ(player.frameCount(), 3);
    for (const auto& [frame, expected] : {std::pair(2, "434343"), {0, "414141"}, {1, "424242"}}) {
        EXPECT_TRUE(player.jumpToFrame(frame));
        EXPECT_EQ(colors(player.currentImage()), expected);
    }
    EXPECT_EQ(player.nextFrameDelay(), 1500);
}

TEST_F(ImagePlugin, ReadsFromWhateverHoldsAMovie)
{
    const std::string movie = MovieBuilder().frameFormat(1, 1, ZD_UCHAR, 8).frame("A").movie();
    QByteArray bytes = QByteArray::fromStdString("before" + movie);
    QBuffer memory(&bytes);
    memory.open(QIODevice::ReadOnly);
    memory.seek(6);
    EXPECT_EQ(colors(QImageReader(&memory).read()), "414141");

    writeFile(m_path, movie);
    QFile open(m_path);
    ASSERT_TRUE(open.open(QIODevice::ReadOnly));
    writeFile(m_directory.path("other"), "something else");
    ASSERT_EQ(rename(qPrintable(m_directory.path("other")), qPrintable(m_path)), 0); // the open file has no name now
    EXPECT_EQ(colors(QImageReader(&open).read()), "414141");
}

TEST_F(ImagePlugin, RefusesWhatItCannotShow)
{
    const QString sound = m_directory.path("sound.vqf"); // an audio format of the same extension
    writeFile(sound, "TWIN97012000" + std::string(200, '\1'));
    EXPECT_FALSE(QImageReader(sound).canRead());
    EXPECT_TRUE(QImageReader(sound, "vqf").read().isNull());

    const std::string whole = smallMovie();
    for (const std::string& file : {std::string(), whole.substr(0, 5), withoutTail(whole, 1), std::string("\n<CSTA")})
        EXPECT_TRUE(pictures(file).size() <= 1 && pictures(file) != pictures(whole)) << file.size();
    writeFile(m_path, withoutTail(whole, 1));
    QImageReader cut(m_path);
    EXPECT_TRUE(cut.read().isNull());
    EXPECT_EQ(cut.imageCount(), 0);
    EXPECT_FALSE(cut.canRead());

    for (const auto& [width, height, type] :
         {std::tuple(0, 1, 5), {1, -1, 5}, {1 << 30, 1 << 30, 2}, {4097, 4096, 5}, {1, 1, 0}, {1, 1, 99}}) {
        writeFile(m_path, MovieBuilder().frameFormat(width, height, type, 16).frame("AAAA").movie());
        EXPECT_TRUE(QImageReader(m_path).read().isNull()) << width << ' ' << type;
    }
    // A damaged frame is skipped, whatever it is that damages it.
    MovieBuilder damaged;
    damaged.frameFormat(1, 1, ZD_UCHAR, 8).frame("A").record(2, 7, 1).frame("C");
    EXPECT_EQ(pictures(damaged.movie()), (Pictures{"414141", "-", "434343"}));
}

/// By content, whatever the name; an audio file's own content wins over the extension they share.
TEST_F(ImagePlugin, HasATypeOfItsOwn)
{
    const QMimeDatabase types;
    EXPECT_EQ(types.mimeTypeForName(QStringLiteral("image/x-vqf")).preferredSuffix(), QStringLiteral("vqf"));
    writeFile(m_path, smallMovie());
    EXPECT_EQ(types.mimeTypeForFile(m_path).name(), QStringLiteral("image/x-vqf"));
    const QString sound = m_directory.path("sound.vqf");
    writeFile(sound, "TWIN97012000" + std::string(200, '\1'));
    EXPECT_FALSE(types.mimeTypeForFile(sound, QMimeDatabase::MatchContent).isValid());
}

TEST_F(ImagePlugin, ComesThroughEveryDamagedMovie)
{
    int movies = 0;
    QDirIterator corpus(QStringLiteral(FUZZ_CORPUS), QDir::Files, QDirIterator::Subdirectories);
    while (corpus.hasNext()) {
        const QString path = corpus.next();
        ImageReader direct;
        try {
            direct.open(path);
        } catch (const IOFileException&) {
        }
        QImageReader reader(path);
        int delivered = 0;
        while (reader.canRead() && reader.currentImageNumber() < 50) {
            const QImage picture = reader.read();
            EXPECT_TRUE(picture.isNull() || picture.size() == reader.size());
            delivered += picture.isNull() ? 0 : 1;
        }
        EXPECT_LE(delivered, direct.nbFrames()) << path.toStdString();
        movies += delivered > 0 ? 1 : 0;
    }
    EXPECT_GT(movies, 20);
}

/// What a process more than this one holds at most while it asks for all that a file manager asks; in bytes.
std::int64_t memoryToShow(const QString& path)
{
    const pid_t child = fork();
    if (child == 0) {
        rusage before{};
        getrusage(RUSAGE_SELF, &before);
        QImageReader reader(path);
        for (int i = 0; i < 2 && reader.canRead(); ++i)
            reader.read();
        rusage after{};
        getrusage(RUSAGE_SELF, &after);
        _exit(static_cast<int>((after.ru_maxrss - before.ru_maxrss) >> 12)); // in pieces of 4 MiB
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return std::int64_t{WEXITSTATUS(status)} << 22;
}

/// A chunk of zeros that takes no room on the disk.
void appendHole(QFile& file, std::uint32_t type, std::uint32_t size)
{
    file.write(QByteArray::fromStdString(startHeader(type, size)));
    file.resize(file.size() + size);
    file.seek(file.size());
    file.write(QByteArray::fromStdString(endHeader(type, size)));
}

TEST_F(ImagePlugin, BoundsItsMemory)
{
    if (DATAIO_SANITIZED)
        GTEST_SKIP() << "the sanitizer's own memory would be counted";
    constexpr std::uint32_t large = 1900U << 20;
    QFile header(m_path);
    ASSERT_TRUE(header.open(QIODevice::WriteOnly));
    appendHole(header, 5, large);
    header.close();
    EXPECT_LE(memoryToShow(m_path), 16 << 20);

    // The most that is accepted: frames of 32 MiB to be turned and coloured, and a header of many tiny attributes.
    MovieBuilder info;
    withPalette(info.frameFormat(4096, 4096, ZD_USHORT, 16).attribute("endian", "1")).record(2, 0, 32 << 20);
    std::string payload = info.record(2, (32 << 20) + 32, large).infoPayload();
    for (int i = 0; payload.size() < (2 << 20) - 16; ++i)
        payload += std::to_string(i) + "=a\n";
    QFile movie(m_path);
    ASSERT_TRUE(movie.open(QIODevice::WriteOnly));
    appendHole(movie, 2, 32 << 20);
    appendHole(movie, 2, large);
    movie.write(QByteArray::fromStdString(chunk(5, payload)));
    movie.close();
    EXPECT_LE(memoryToShow(m_path), 256 << 20);
    EXPECT_FALSE(QImageReader(m_path).read().isNull());
}

} // namespace
} // namespace zd

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QTemporaryDir data; // stands for /usr/share
    qputenv("XDG_DATA_DIRS", data.path().toUtf8());
    QDir(data.path()).mkpath(QStringLiteral("mime/packages"));
    QFile::copy(QStringLiteral(MIME_PACKAGE), data.filePath(QStringLiteral("mime/packages/dataio.xml")));
    const QGuiApplication application(argc, argv);
    QCoreApplication::addLibraryPath(QStringLiteral(PLUGIN_FOLDER));
    zd::Logger::setLevel(QStringLiteral("*"), 0);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
