#include <movietools/verify/verify.h>

#include <libdataio/imagewriter.h>
#include <movietools/job/joberror.h>
#include <movietools/verify/addchecksums.h>
#include <tests/support/moviebytes.h>

#include <gmock/gmock.h>

namespace zd::movietools {
namespace {

using test::MovieBuilder;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

class Verify : public testing::Test {
protected:
    Verification verify(const std::string& bytes) const
    {
        test::writeFile(path, bytes);
        return verifyMovie(path);
    }

    // "name@offset" of each finding, in order.
    std::vector<std::string> found(const std::string& bytes) const { return namesOf(verify(bytes)); }

    static std::vector<std::string> namesOf(const Verification& verification)
    {
        std::vector<std::string> names;
        for (const Finding& finding : verification.findings.list())
            names.push_back(finding.name.toStdString() +
                            (finding.offset < 0 ? "" : "@" + std::to_string(finding.offset)));
        return names;
    }

    // Names of what is found in a movie of two frames of 4 x 2 with other header values or further chunks.
    template <typename Edit>
    std::vector<std::string> foundAfter(Edit edit) const
    {
        MovieBuilder movie;
        movie.frameFormat(4, 2, 5, 16).frame(test::countingFrame(16, 1)).frame(test::countingFrame(16, 1));
        edit(movie);
        return found(movie.movie());
    }

    test::TemporaryDirectory directory;
    QString path = directory.path("a.vqf");
};

const char* const notClosed = "cannot-be-opened";

TEST_F(Verify, FindsNothingInSoundMovies)
{
    const Verification small = verify(test::smallMovie());
    EXPECT_THAT(namesOf(small), ElementsAre());
    EXPECT_EQ(small.condition, Condition::Sound);
    EXPECT_EQ(small.bytes, 309U);
    EXPECT_EQ(small.chunks, 5U);
    EXPECT_EQ(small.frames, 2U);
    EXPECT_THAT(found(test::richMovie()), ElementsAre());
    EXPECT_THAT(found(MovieBuilder().frameFormat(4, 2, 5, 16).movie()), ElementsAre());
    EXPECT_THROW(verifyMovie(directory.path("missing.vqf")), JobError);
}

TEST_F(Verify, NamesDamageOfTheContainer)
{
    const std::string movie = test::smallMovie();
    const std::string tail = movie.substr(96);
    const auto edited = [&movie](std::size_t at, const std::string& other) {
        return test::withBytes(movie, at, other);
    };
    EXPECT_THAT(found(""), ElementsAre(notClosed, "file-empty@0", "info-missing@0"));
    EXPECT_THAT(found(movie.substr(0, 100)), ElementsAre(notClosed, "chunk-torn@96", "info-missing@100"));
    EXPECT_THAT(found(edited(52, "?")), ElementsAre("chunk-start-damaged@48"));
    EXPECT_THAT(found(edited(90, "?")), ElementsAre("chunk-end-damaged@80"));
    EXPECT_THAT(
        found(edited(54, test::wordBigEndian(6))),
        ElementsAre("chunk-types-differ@48", "index-record-wrong@210", "times-count@96", "laser-powers-count@144"));
    EXPECT_THAT(found(edited(48, std::string(48, 'x'))),
                ElementsAre("gap@48", "index-record-astray@210", "times-count@96", "laser-powers-count@144"));
    EXPECT_THAT(found(movie + movie), testing::Contains("info-misplaced@178"));
    EXPECT_THAT(found(movie.substr(0, 96) + "junk" + tail), testing::Contains("gap@96"));
    EXPECT_THAT(foundAfter([](auto& m) {
                    m.chunk(8, "ab").chunk(6, test::words({1, 1}));
                }),
                ElementsAre("chunk-order@130"));
    EXPECT_THAT(foundAfter([](auto& m) {
                    m.chunk(6, test::words({1, 1})).frame(test::countingFrame(16, 1));
                }),
                ElementsAre("chunk-order@136"));
    EXPECT_THAT(foundAfter([](auto& m) { m.chunk(9, "x"); }), ElementsAre("chunk-type-unknown@96"));
    EXPECT_EQ(verify(edited(52, "?")).condition, Condition::DamagedButReadable);
    EXPECT_EQ(verify(movie.substr(0, 100)).condition, Condition::NotReadable);
}

TEST_F(Verify, HoldsTheIndexAgainstTheChunks)
{
    const auto frame = test::countingFrame(16, 1);
    EXPECT_THAT(foundAfter([](auto& m) { m.record(5, 0, 16); }),
                ElementsAre("index-lists-info@140", "index-record-repeated@140", "index-record-wrong@140"));
    EXPECT_THAT(foundAfter([](auto& m) { m.record(2, 48, 16); }), ElementsAre("index-record-repeated@140"));
    EXPECT_THAT(foundAfter([](auto& m) { m.record(2, 50, 16); }),
                ElementsAre("index-record-astray@140", "index-records-overlap@112"));
    EXPECT_THAT(foundAfter([](auto& m) { m.record(9, 0xFFFFFFFF, 0xFFFFFFFF); }),
                ElementsAre("index-record-astray@140"));
    EXPECT_THAT(foundAfter([&](auto& m) { m.bytes(test::chunk(2, frame)); }), ElementsAre("chunk-not-listed@96"));
    EXPECT_THAT(foundAfter([&](auto& m) { m.bytes(test::chunk(8, "ab")); }), ElementsAre("chunk-not-listed@96"));
    // A count without room for its records; the two frames stay unlisted with no index to list them.
    const Verification unreadable = verify(test::withBytes(test::smallMovie(), 194, test::word(9)));
    EXPECT_THAT(namesOf(unreadable), testing::IsSupersetOf({notClosed, "index-unreadable@194"}));
    EXPECT_EQ(unreadable.condition, Condition::NotReadable);
}

TEST_F(Verify, JudgesTheLinesOfTheHeader)
{
    const auto foundIn = [this](const std::string& text) {
        const std::string frames = test::chunk(2, test::countingFrame(16, 1));
        return found(frames + test::chunk(5, test::words({1, 2, 0, 16}) + text));
    };
    const std::string text = "endian=2\nheight=2\npixbits=16\npixtype=5\nwidth=4\n";
    EXPECT_THAT(foundIn(text), ElementsAre());
    EXPECT_THAT(foundIn(text.substr(0, 46)), ElementsAre("attribute-line-unended@126"));
    EXPECT_THAT(foundIn(text + "x \nnote\n"), ElementsAre("attribute-line-skipped@127", "attribute-line-skipped@130"));
    EXPECT_THAT(foundIn(text + "x= a\ny=b \r\n"), ElementsAre("attribute-blanks@132"));
    EXPECT_THAT(foundIn(text + "width=4\nxx=1\nx=2\n"), ElementsAre("attribute-repeated@127", "attribute-order@140"));
    EXPECT_THAT(foundIn(text + "x=a\x1B[31m\n"), ElementsAre("attribute-control-character@130"));
}

TEST_F(Verify, HoldsHeaderValuesAgainstTheFrames)
{
    const auto with = [this](const char* name, const char* value) {
        return foundAfter([=](auto& m) { m.attribute(name, value); });
    };
    EXPECT_THAT(with("endian", "1"), ElementsAre("byte-order-swapped"));
    EXPECT_THAT(with("endian", "3"), ElementsAre("byte-order-unknown"));
    EXPECT_THAT(with("endian", "two"), ElementsAre("attribute-not-a-number", "byte-order-missing"));
    EXPECT_THAT(with("width", "5"), ElementsAre("frame-length@0", "frame-length@48"));
    EXPECT_THAT(with("height", "0"), ElementsAre("frame-size-invalid"));
    EXPECT_THAT(with("width", "2147483647"), ElementsAre("frame-length@0", "frame-length@48"));
    EXPECT_THAT(foundAfter([](auto& m) { m = MovieBuilder().attribute("endian", "2").attribute("pixbits", "8"); }),
                ElementsAre("frame-size-missing", "frame-size-missing", "pixel-type-guessed"));
    EXPECT_THAT(with("pixtype", "13"), ElementsAre("pixel-type-unknown"));
    EXPECT_THAT(with("pixtype", "3"), ElementsAre("pixel-bits", "frame-length@0", "frame-length@48"));
    EXPECT_THAT(with("bbox_min_x", "1.0"), ElementsAre("box-incomplete"));
    EXPECT_THAT(found(MovieBuilder().frame("x").movie()),
                ElementsAre("byte-order-missing", "frame-size-missing", "frame-size-missing", "pixel-type-missing"));

    const std::string rich = test::richMovie();
    const auto changed = [&](const std::string& line, const std::string& other) {
        return found(test::withBytes(rich, rich.find(line), other));
    };
    EXPECT_THAT(changed("bbox_min_y=0", "bbox_min_y=2"), ElementsAre("box-reversed"));
    EXPECT_THAT(changed("bbox_max_x=3.000000e+00", "bbox_max_x=nan         "),
                ElementsAre("attribute-blanks@391", "box-reversed"));
    EXPECT_THAT(changed("pal_n1_g=5.000000e-01", "pal_n1_q=5.000000e-01"), ElementsAre("palette-incomplete"));
    EXPECT_THAT(changed("pal_n2_b=5.000000e-01", "pal_n2_b=inf#########"), ElementsAre("palette-incomplete"));
    EXPECT_THAT(changed("pal_nbcols=3", "pal_nbcols=4"), ElementsAre("palette-incomplete"));
    EXPECT_THAT(changed("pal_cropMin=0", "pal_cropMin=9999\npal_nam="), testing::Contains("palette-crop-reversed"));
}

TEST_F(Verify, HoldsSideDataAgainstTheFrames)
{
    const std::string early = test::timeBytes(100, 0);
    const std::string late = test::timeBytes(100, 5);
    const auto with = [this](std::uint32_t type, const std::string& payload) {
        return foundAfter([&](auto& m) { m.chunk(type, payload); });
    };
    EXPECT_THAT(with(7, early + late), ElementsAre());
    EXPECT_THAT(with(7, late + early), ElementsAre("times-order@120"));
    EXPECT_THAT(with(7, early + test::timeBytes(100, 1'000'000)), ElementsAre("times-microseconds@120"));
    EXPECT_THAT(with(7, early + late + late), ElementsAre("times-count@96"));
    EXPECT_THAT(with(7, early + "?"), ElementsAre("times-length@96"));
    EXPECT_THAT(with(8, "abc"), ElementsAre("laser-powers-count@96"));
    EXPECT_THAT(with(6, test::words({1, 2, 3})), ElementsAre("fibers-odd@96"));
    EXPECT_THAT(found(MovieBuilder().chunk(6, test::words({1, 2})).movie()),
                testing::Contains("fibers-without-frame-size@0"));
    // Too few times are what an edit without times leaves, and no damage.
    EXPECT_THAT(with(7, early), ElementsAre("times-count@96"));
    EXPECT_EQ(verifyMovie(path).condition, Condition::Sound);
    EXPECT_THAT(foundAfter([](auto& m) {
                    m.attribute("frame_timer", "1")
                        .attribute("frame_timer_n0_sec", "1")
                        .attribute("frame_timer_n0_usec", "2")
                        .attribute("frame_timer_n1_sec", "1");
                }),
                ElementsAre("times-incomplete", "times-count"));
}

TEST_F(Verify, TellsWhatWasLeftBesideTheMovie)
{
    test::writeFile(path + QStringLiteral("-journal"), "VQFJRNL2");
    test::writeFile(path + QStringLiteral("-log"), "VQFRLOG1");
    EXPECT_THAT(found(test::smallMovie()), ElementsAre("left-over-journal", "left-over-log"));
    EXPECT_EQ(verifyMovie(path).condition, Condition::Sound);
}

TEST_F(Verify, KeepsALimitedNumberOfFindings)
{
    MovieBuilder movie;
    movie.frameFormat(4, 2, 5, 16);
    for (int frame = 0; frame < 150; ++frame)
        movie.frame("short");
    const Verification verification = verify(movie.movie());
    EXPECT_EQ(verification.findings.list().size(), Findings::mostOfOneName);
    EXPECT_EQ(verification.findings.counts().at(QStringLiteral("frame-length")), 150U);
}

TEST_F(Verify, ComparesFramesAndSideDataWithChecksums)
{
    const std::string movie = test::smallMovie();
    test::writeFile(path, movie);
    EXPECT_EQ(addChecksums(path, false), ChecksumsAdded::Added);
    EXPECT_EQ(addChecksums(path, false), ChecksumsAdded::AlreadyThere);
    // CRC-32 of the side data and of the two frames, made by other means.
    EXPECT_EQ(test::readFile(path).find("plug_checksums=crc32:Zve9IfGATAlYiMyh\n"), 285U);
    const std::string checked = test::readFile(path);
    EXPECT_THAT(namesOf(verifyMovie(path)), ElementsAre());
    EXPECT_EQ(verifyMovie(path).framesWithChecksum, 2U);

    for (const std::size_t at : {16U, 31U})
        EXPECT_THAT(found(test::withBytes(checked, at, "?")), ElementsAre("checksum-frame@0")) << at;
    EXPECT_THAT(found(test::withBytes(checked, 64, "?")), ElementsAre("checksum-frame@48"));
    EXPECT_THAT(found(test::withBytes(checked, 116, "?")), ElementsAre("checksum-side-data@96"));
    EXPECT_THAT(found(test::withBytes(checked, 160, "?")), ElementsAre("checksum-side-data@96"));
    EXPECT_THAT(found(test::withBytes(checked, 300, "!")), ElementsAre("checksum-unreadable"));

    // A movie that differs from its checksums is not blessed by accident; a damaged one not at all.
    test::writeFile(path, test::withBytes(checked, 16, "?"));
    EXPECT_THROW(addChecksums(path, false), JobError);
    EXPECT_EQ(addChecksums(path, true), ChecksumsAdded::Replaced);
    EXPECT_THAT(namesOf(verifyMovie(path)), ElementsAre());
    test::writeFile(path, test::withBytes(movie, 0, "?"));
    EXPECT_THROW(addChecksums(path, true), JobError);
}

} // namespace
} // namespace zd::movietools
