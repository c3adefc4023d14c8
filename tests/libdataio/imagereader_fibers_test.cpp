#include <libdataio/imagereader.h>

#include <tests/support/moviebytes.h>
#include <tests/support/report.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

namespace zd {

namespace {

using namespace test;
using testing::ElementsAre;
using testing::FloatEq;
using testing::HasSubstr;
using testing::IsEmpty;

using Mode = ImageReader::FiberFilteringMode;
constexpr Mode everyMode[] = {ImageReader::NoFiberFiltering,
                              ImageReader::SizeClampFiberFiltering,
                              ImageReader::BundleBoundingBoxFiberFiltering,
                              ImageReader::NoFiberFilteringSorted,
                              ImageReader::SizeClampFiberFilteringSorted,
                              ImageReader::BundleBoundingBoxFiberFilteringSorted};
constexpr Mode unknownMode = static_cast<Mode>(6);
constexpr int frameWidth = 100;
constexpr int frameHeight = 50;

/// The chunk's words for fibres at these positions of a frame of 100 x 50 pixels.
std::string wordsAt(std::initializer_list<std::pair<double, double>> positions)
{
    const auto wordOf = [](double position, int extent) {
        return static_cast<std::uint32_t>(position * 4294967295.0 / extent + 0.5);
    };
    std::string bytes;
    for (const auto& [x, y] : positions)
        bytes += words({wordOf(x, frameWidth), wordOf(y, frameHeight)});
    return bytes;
}

MovieBuilder movieWith(const std::string& fiberWords)
{
    return MovieBuilder().chunk(6, fiberWords).attribute("width", "100").attribute("height", "50");
}

MovieBuilder withBox(MovieBuilder movie, const char* minX, const char* minY, const char* maxX, const char* maxY)
{
    return movie.attribute("bbox_min_x", minX)
        .attribute("bbox_min_y", minY)
        .attribute("bbox_max_x", maxX)
        .attribute("bbox_max_y", maxY);
}

class Fibers : public testing::Test {
protected:
    void open(const MovieBuilder& movie)
    {
        writeFile(m_path, movie.movie());
        m_reader.open(m_path);
    }
    std::vector<float> positions(Mode mode)
    {
        std::vector<float> out{-7};
        m_reader.getRasterFiberContinuousIndexes(out, mode);
        EXPECT_EQ(m_reader.nbFibers(mode), static_cast<int>(out.size() / 2));
        return out;
    }
    std::vector<float> positions(const MovieBuilder& movie, Mode mode)
    {
        open(movie);
        return positions(mode);
    }

    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie %1.vqf");
    ImageReader m_reader;
};

TEST_F(Fibers, AMovieWithoutThemHasNone)
{
    for (const MovieBuilder& movie : {MovieBuilder(), MovieBuilder().attribute("width", "100"),
                                      MovieBuilder().bytes("x").record(6, 1, 8), movieWith("")}) {
        writeFile(m_path, movie.movie());
        m_reader.open(m_path);
        for (const Mode mode : everyMode)
            EXPECT_THAT(positions(mode), IsEmpty());
    }
    open(MovieBuilder());
    EXPECT_THAT(positions(unknownMode), IsEmpty());
    std::vector<unsigned int> indexes{7};
    m_reader.getRasterFiberIndexes(indexes, unknownMode);
    EXPECT_THAT(indexes, IsEmpty());
    std::vector<float> centers{7};
    EXPECT_EQ(codeOf([&] { m_reader.getWorldFiberCenters(centers, unknownMode); }), "IR_GRFI_NOSIZE");
    EXPECT_EQ(codeOf([&] { m_reader.getFiberOffsets(indexes, unknownMode); }), "IR_GRFI_NOSIZE");
    EXPECT_THAT(centers, ElementsAre(7)) << "asked for before anything else";
    open(MovieBuilder().attribute("width", "100"));
    m_reader.getFiberOffsets(indexes, unknownMode);
    EXPECT_THAT(indexes, IsEmpty());
    EXPECT_EQ(codeOf([&] { m_reader.getWorldFiberCenters(centers, ImageReader::NoFiberFiltering); }), "IR_GRFI_NOSIZE");
}

TEST_F(Fibers, RefusalsLeaveTheListAlone)
{
    std::vector<float> out{7};
    const auto refused = [&](const MovieBuilder& movie, Mode mode) {
        open(movie);
        return codeOf([&] { m_reader.getRasterFiberContinuousIndexes(out, mode); });
    };
    EXPECT_EQ(refused(MovieBuilder().chunk(6, wordsAt({{1, 1}})).attribute("width", "5"), unknownMode),
              "IR_GRFI_NOSIZE");
    EXPECT_EQ(refused(MovieBuilder().chunk(6, "").attribute("height", "5"), ImageReader::NoFiberFiltering),
              "IR_GRFI_NOSIZE");
    EXPECT_EQ(refused(movieWith(wordsAt({{1, 1}})), unknownMode), "IR_GRFI_UMODE");
    EXPECT_EQ(refused(movieWith(""), static_cast<Mode>(-1)), "IR_GRFI_UMODE");
    EXPECT_THAT(out, ElementsAre(7));

    const MovieBuilder other = withBox(movieWith(wordsAt({{1, 1}})), "0", "0", "99", "49").attribute("data_type", "x");
    EXPECT_EQ(refused(other, ImageReader::BundleBoundingBoxFiberFiltering), "IR_GRFI_UDTYPE");
    EXPECT_THAT(out, IsEmpty());
    EXPECT_EQ(refused(other, ImageReader::BundleBoundingBoxFiberFilteringSorted), "IR_GRFI_UDTYPE");
    EXPECT_THAT(positions(ImageReader::NoFiberFiltering), ElementsAre(FloatEq(1), FloatEq(1)));
    EXPECT_EQ(positions(ImageReader::SizeClampFiberFiltering).size(), 2U);
    EXPECT_EQ(positions(movieWith(wordsAt({{1, 1}})).attribute("data_type", "x"),
                        ImageReader::BundleBoundingBoxFiberFiltering)
                  .size(),
              2U)
        << "without a box the type does not matter";
}

TEST_F(Fibers, AnOddWordIsIgnoredAndTold)
{
    open(movieWith(wordsAt({{1, 2}, {3, 4}}) + word(5) + "xyz"));
    LogCapture log(3);
    std::vector<float> out;
    m_reader.getRasterFiberContinuousIndexes(out, ImageReader::NoFiberFiltering);
    EXPECT_THAT(out, ElementsAre(FloatEq(1), FloatEq(2), FloatEq(3), FloatEq(4)));
    ASSERT_EQ(log.records.size(), 1U);
    EXPECT_EQ(log.records[0].logger, QStringLiteral("dataio.imagereader"));
    EXPECT_EQ(log.records[0].level, 3);
    EXPECT_EQ(log.records[0].origin, Library);
    EXPECT_EQ(log.records[0].code, QString());
    EXPECT_THAT(log.records[0].location.function, HasSubstr("getRasterFiberContinuousIndexes("));
    EXPECT_EQ(log.records[0].message, QStringLiteral("Odd number of floats for fibers! Discarding last float."));
    LogCapture warnings(2);
    EXPECT_EQ(m_reader.nbFibers(ImageReader::NoFiberFiltering), 2);
    EXPECT_EQ(warnings.records.size(), 0U);

    std::vector<std::uint32_t> stored;
    m_reader.getFiberWords(stored);
    EXPECT_THAT(layout::decodeFiberCenters(stored, frameWidth, frameHeight), ElementsAre(1, 2, 3, 4));
    open(MovieBuilder().chunk(6, words({0x01020304, 5, 6})).attribute("endian", "1"));
    m_reader.getFiberWords(stored);
    EXPECT_THAT(stored, ElementsAre(0x04030201, 0x05000000));
    open(MovieBuilder());
    m_reader.getFiberWords(stored);
    EXPECT_THAT(stored, IsEmpty());
}

TEST_F(Fibers, FiltersByFrame)
{
    const MovieBuilder movie = movieWith(words({2147483648, 4294967295}) + wordsAt({{99.5, 7}, {0, 0}, {99, 49}}));
    EXPECT_THAT(positions(movie, ImageReader::NoFiberFiltering), ElementsAre(50, 50, 99.5F, 7, 0, 0, 99, 49));
    EXPECT_THAT(positions(ImageReader::SizeClampFiberFiltering), ElementsAre(50, 49, 99, 7, 0, 0, 99, 49));
    EXPECT_THAT(positions(ImageReader::BundleBoundingBoxFiberFiltering), ElementsAre(0, 0, 99, 49)) << "no box";
    EXPECT_THAT(positions(ImageReader::NoFiberFilteringSorted), ElementsAre(0, 0, 99.5F, 7, 99, 49, 50, 50));
    EXPECT_THAT(positions(ImageReader::SizeClampFiberFilteringSorted), ElementsAre(0, 0, 99, 7, 50, 49, 99, 49));

    const std::string bigEndian = hex("80000000 FFFFFFFF");
    EXPECT_THAT(positions(movieWith(bigEndian).attribute("endian", "1"), ImageReader::NoFiberFiltering),
                ElementsAre(50, 50));
}

TEST_F(Fibers, FiltersByBundle)
{
    const std::string fiberWords = wordsAt({{99, 49}, {49.5, 24.5}, {0, 0}, {98, 24}});
    EXPECT_THAT(
        positions(withBox(movieWith(fiberWords), "0", "0", "99", "49"), ImageReader::BundleBoundingBoxFiberFiltering),
        ElementsAre(49.5F, 24.5F, 98, 24));
    EXPECT_THAT(positions(ImageReader::BundleBoundingBoxFiberFilteringSorted), ElementsAre(49.5F, 24.5F, 98, 24));
    EXPECT_THAT(positions(withBox(movieWith(fiberWords), "49.5", "0", "49.5", "49"),
                          ImageReader::BundleBoundingBoxFiberFiltering),
                IsEmpty())
        << "a box without width";
}

TEST_F(Fibers, CorrectsTheColumnsOfRawImages)
{
    // A quarter of the way across, the corrected column is 0.1971 x 99 = 19.5: outside, where 24.75 is inside.
    const MovieBuilder movie = withBox(movieWith(wordsAt({{24.75, 24.5}, {49.5, 24.5}})), "22", "0", "77", "49")
                                   .attribute("data_type", "raw")
                                   .attribute("sinus_disto_t0", "-1.2")
                                   .attribute("sinus_disto_t1", "1.2");
    const auto bundle = ImageReader::BundleBoundingBoxFiberFiltering;
    EXPECT_THAT(positions(movie, bundle), ElementsAre(49.5F, 24.5F));
    EXPECT_THAT(positions(MovieBuilder(movie).attribute("data_type", "imp"), bundle),
                ElementsAre(24.75F, 24.5F, 49.5F, 24.5F));
    EXPECT_THAT(positions(MovieBuilder(movie).attribute("bbox_min_x", "19").attribute("bbox_max_x", "80"), bundle),
                ElementsAre(24.75F, 24.5F, 49.5F, 24.5F))
        << "what is delivered is not corrected";
    EXPECT_THAT(positions(MovieBuilder(movie).attribute("sinus_disto_t1", "-1.2"), bundle), IsEmpty());
}

TEST_F(Fibers, RawImagesWithoutDistortionAreTold)
{
    for (const char* missing : {"sinus_disto_t0", "sinus_disto_t1"}) {
        MovieBuilder movie = withBox(movieWith(wordsAt({{99, 40}, {60, 49.9}, {0, 0}})), "40", "0", "50", "49");
        movie.attribute("data_type", "raw").attribute("sinus_disto_t0", "0").attribute("sinus_disto_t1", "1");
        open(movie.attribute(missing, "none"));
        LogCapture log(2);
        EXPECT_THAT(positions(ImageReader::BundleBoundingBoxFiberFilteringSorted), ElementsAre(0, 0, 99, 40));
        ASSERT_EQ(log.records.size(), 2U) << "at every query; the second counted them";
        EXPECT_EQ(log.records[1].level, 2);
        EXPECT_EQ(log.records[1].origin, Library);
        EXPECT_EQ(log.records[1].code, QStringLiteral("NODISTOPARAMS"));
        EXPECT_THAT(log.records[1].location.function, HasSubstr("getRasterFiberContinuousIndexes("));
        EXPECT_EQ(log.records[1].message,
                  QStringLiteral("User asked for fibers with BundleBoundingBoxFiberFiltering on a raw image that does "
                                 "not have sinus distortion parameters. Size filtering only is applied. fileName=[") +
                      m_path + u']');
    }
    LogCapture errorsOnly(1);
    EXPECT_EQ(positions(ImageReader::BundleBoundingBoxFiberFiltering).size(), 4U);
    EXPECT_EQ(errorsOnly.records.size(), 0U);
}

TEST_F(Fibers, GivesPixelsOffsetsAndWorldCentres)
{
    open(movieWith(wordsAt({{2.5, 3.5}, {3, 2}, {99, 49}, {0, 0}})));
    std::vector<unsigned int> indexes{7};
    m_reader.getRasterFiberIndexes(indexes, ImageReader::NoFiberFiltering);
    EXPECT_THAT(indexes, ElementsAre(2, 4, 3, 2, 99, 49, 0, 0));
    m_reader.getFiberOffsets(indexes, ImageReader::NoFiberFiltering);
    EXPECT_THAT(indexes, ElementsAre(402, 203, 4999, 0));
    m_reader.getFiberOffsets(indexes, ImageReader::NoFiberFilteringSorted);
    EXPECT_THAT(indexes, ElementsAre(0, 203, 402, 4999));
    std::vector<float> centers{7};
    m_reader.getWorldFiberCenters(centers, ImageReader::NoFiberFiltering);
    EXPECT_THAT(centers, ElementsAre(0.03F, 0.46F, 0.035F, 0.475F, 0.995F, 0.005F, 0.005F, 0.495F));
    EXPECT_THAT(positions(ImageReader::NoFiberFiltering), ElementsAre(2.5F, 3.5F, 3, 2, 99, 49, 0, 0));
}

} // namespace

} // namespace zd
