#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/tooltest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gmock/gmock.h>

namespace zd::tool {
namespace {

using test::Ended;
using testing::HasSubstr;

/// Runs the real program beside a sound movie, a damaged one and one that was cut off.
class RecoveryTool : public test::ToolTest {
protected:
    RecoveryTool()
    {
        test::writeFile(directory.path("sound.vqf"), sound);
        test::writeFile(directory.path("damaged.vqf"), test::withBytes(sound, 33, "?"));
        test::writeFile(directory.path("cut.vqf"), sound.substr(0, 290));
    }

    static QJsonObject json(const std::string& line)
    {
        return QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
    }

    const std::string sound = test::smallMovie();
};

TEST_F(RecoveryTool, VerifiesMovies)
{
    Ended ended = run("vqf verify sound.vqf");
    EXPECT_EQ(ended.code, 0);
    EXPECT_EQ(ended.output, "sound.vqf: sound (309 bytes, 2 frames)\n");
    ended = run("vqf verify sound.vqf damaged.vqf");
    EXPECT_EQ(ended.code, 3);
    EXPECT_THAT(ended.output,
                HasSubstr("damaged.vqf: damaged but readable (309 bytes, 2 frames)\n"
                          "  error chunk-end-damaged at byte 32: expected the header of a frame with 16 bytes, "
                          "found a damaged one; recover the movie into a new file\n"));
    EXPECT_EQ(run("vqf verify cut.vqf damaged.vqf").code, 1);
    EXPECT_EQ(run("vqf verify missing.vqf sound.vqf").code, 1);
    EXPECT_EQ(run("vqf verify").code, 2);

    const QJsonObject object = json(run("vqf verify --json damaged.vqf").output);
    EXPECT_EQ(object[QStringLiteral("schema")].toString(), QStringLiteral("vqf.verify"));
    EXPECT_EQ(object[QStringLiteral("condition")].toString(), QStringLiteral("damaged"));
    const QJsonObject finding = object[QStringLiteral("findings")][0].toObject();
    EXPECT_EQ(finding[QStringLiteral("name")].toString(), QStringLiteral("chunk-end-damaged"));
    EXPECT_EQ(finding[QStringLiteral("severity")].toString(), QStringLiteral("error"));
    EXPECT_EQ(finding[QStringLiteral("offset")].toInt(), 32);
}

TEST_F(RecoveryTool, ListsChunks)
{
    Ended ended = run("vqf chunks damaged.vqf");
    EXPECT_EQ(ended.code, 3);
    EXPECT_THAT(ended.output, HasSubstr("          0          48          2          16  damaged  frame\n"
                                        "         48          48          2          16  sound    frame\n"));
    ended = run("vqf chunks --json sound.vqf");
    EXPECT_EQ(ended.code, 0);
    const QJsonArray chunks = json(ended.output)[QStringLiteral("chunks")].toArray();
    ASSERT_EQ(chunks.size(), 5);
    EXPECT_EQ(chunks[4].toObject()[QStringLiteral("offset")].toInt(), 178);
    EXPECT_EQ(chunks[4].toObject()[QStringLiteral("payload")].toInt(), 99);
    const QJsonArray torn = json(run("vqf chunks --json cut.vqf").output)[QStringLiteral("chunks")].toArray();
    EXPECT_EQ(torn[4].toObject()[QStringLiteral("state")].toString(), QStringLiteral("torn"));
}

TEST_F(RecoveryTool, RecoversMovies)
{
    Ended ended = run("vqf recover damaged.vqf -o out.vqf && cmp out.vqf sound.vqf");
    EXPECT_EQ(ended.code, 0) << ended.errors;
    EXPECT_EQ(ended.output, "out.vqf: 2 frames (309 bytes)\n"
                            "  header        the movie's own\n"
                            "  times         2\n"
                            "  laser powers  2\n"
                            "  fibres        0\n"
                            "  mended        chunks with a damaged header: 1\n");
    EXPECT_EQ(run("vqf recover damaged.vqf -o out.vqf").code, 1);
    ended = run("vqf recover cut.vqf -o out.vqf --force --attr width=4 --json");
    EXPECT_EQ(ended.code, 3);
    const QJsonObject object = json(ended.output);
    EXPECT_EQ(object[QStringLiteral("header")].toString(), QStringLiteral("damaged-movie"));
    EXPECT_EQ(object[QStringLiteral("torn_bytes")].toInt(), 112);
    EXPECT_EQ(object[QStringLiteral("guessed")].toArray().size(), 0);
    EXPECT_EQ(object[QStringLiteral("result")][QStringLiteral("condition")].toString(), QStringLiteral("sound"));
    EXPECT_EQ(file("out.vqf"), sound);
    EXPECT_EQ(run("vqf recover cut.vqf --in-place --attr width=4 && cmp cut.vqf sound.vqf").code, 3);
    EXPECT_EQ(file("cut.vqf"), sound);
    for (const char* const wrong : {"", " -o x.vqf --in-place", " -o x.vqf --attr width"})
        EXPECT_EQ(run(std::string("vqf recover damaged.vqf") + wrong).code, 2) << wrong;
    EXPECT_EQ(run("echo nothing > text; vqf recover text -o x.vqf").code, 1);
}

TEST_F(RecoveryTool, AddsChecksums)
{
    EXPECT_EQ(run("vqf checksum add sound.vqf").output, "sound.vqf: checksums added\n");
    EXPECT_EQ(run("vqf checksum add sound.vqf").output, "sound.vqf: has these checksums already\n");
    EXPECT_THAT(run("vqf verify sound.vqf").output, HasSubstr("2 compared with their checksums"));
    const Ended changed = run("printf x | dd of=sound.vqf bs=1 seek=20 conv=notrunc status=none; vqf verify sound.vqf");
    EXPECT_EQ(changed.code, 3);
    EXPECT_THAT(changed.output, HasSubstr("error checksum-frame at byte 0"));
    const Ended kept = run("vqf recover sound.vqf -o out.vqf");
    EXPECT_EQ(kept.code, 3);
    EXPECT_THAT(kept.output, HasSubstr("lost          what its checksum proves: checksum-frame at byte 0\n"));
    EXPECT_EQ(run("vqf checksum add sound.vqf").code, 1);
    EXPECT_EQ(run("vqf checksum add --replace sound.vqf && vqf verify sound.vqf").code, 0);
    EXPECT_EQ(run("vqf checksum add damaged.vqf").code, 1);
}

} // namespace
} // namespace zd::tool
