#include <tests/reliability/scenarios.h>

#include <libdataio/imagereader.h>
#include <libdataio/recordingremains.h>
#include <tests/support/everyfault.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/powerloss.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <map>

// What edits that died, and the restores after them, leave.
namespace zd {

namespace {

using namespace test;

const std::string before = movieToEdit();

/// Counts the disks that power failures may leave after a restore or an edit, and checks each.
class RebuiltDisks {
public:
    /// Undoes what is left on each disk; `isRight` says whether that is the movie that there may be after so many
    /// changes.
    template <typename IsRight>
    int check(const PowerLoss& power, IsRight isRight) const
    {
        int disks = 0;
        for (std::size_t count = 0; count <= power.changes() + 1; ++count) {
            std::vector<std::vector<std::size_t>> losses = power.losses(count);
            for (const std::size_t kept : power.unsettled(count)) {
                losses.push_back(power.unsettled(count));
                std::erase(losses.back(), kept);
            }
            for (const std::vector<std::size_t>& lost : losses) {
                rebuild(power.disk(count, lost));
                ImageWriter::undoInterruptedEdit(m_movie);
                EXPECT_TRUE(isRight(count, readFile(m_movie)))
                    << "after " << count << " changes, " << lost.size() << " of them lost, the first "
                    << (lost.empty() ? 0 : lost[0]);
                EXPECT_FALSE(QFile::exists(m_movie + QStringLiteral("-journal")));
                ++disks;
            }
        }
        return disks;
    }

private:
    void rebuild(const std::map<std::string, std::string>& files) const
    {
        for (const QString& name : QDir(m_folder.path("")).entryList(QDir::Files))
            QFile::remove(m_folder.path(name.toUtf8().constData()));
        for (const auto& [name, bytes] : files)
            writeFile(m_folder.path(name.c_str()), bytes);
    }

    TemporaryDirectory m_folder;
    const QString m_movie = m_folder.path("movie.vqf");
};

/// The movie after an edit of everything that died just before it was whole: all is written but the last byte.
class DeadEdit : public testing::Test {
protected:
    DeadEdit()
    {
        const std::string done = m_stage.result(wholeEdit());
        for (int n = 1; file().size() + 1 != done.size() || !done.starts_with(file()); ++n) {
            EXPECT_TRUE(
                m_stage.dies(wholeEdit(), {.at = n, .share = Share::AllButOne, .among = call::writes, .deadly = true}));
        }
        dead = file();
        journal = readFile(beside("-journal"));
    }

    std::string file() const { return m_stage.file(); }
    QString beside(const char* suffix) const { return m_path + QString::fromUtf8(suffix); }
    QStringList leftovers() const { return m_stage.leftovers(); }

    void startFromDeath()
    {
        m_stage.prepare(wholeEdit());
        writeFile(m_path, dead);
        writeFile(beside("-journal"), journal);
    }

    const Stage m_stage;
    const QString m_path = m_stage.movie();
    std::string dead;
    std::string journal;
};

TEST(DeadEdits, APowerFailureLeavesTheOldMovieOrTheNew)
{
    const Stage stage;
    RebuiltDisks disks;
    int allDisks = 0;
    std::vector<Scenario> scenarios = edits(true);
    scenarios.push_back(wholeEdit());
    for (const Scenario& scenario : scenarios) {
        SCOPED_TRACE(scenario.name);
        const std::string done = stage.result(scenario);
        stage.prepare(scenario);
        PowerLoss power(QFileInfo(stage.movie()).canonicalPath());
        stage.run(scenario);
        power.stop();
        const int rebuilt = disks.check(power, [&](std::size_t count, const std::string& left) {
            return left == done || (count <= power.changes() && left == before);
        });
        EXPECT_GT(rebuilt, 20);
        allDisks += rebuilt;
    }
    figure("disks rebuilt", allDisks);
}

TEST_F(DeadEdit, SavesWhatWasAppended)
{
    EXPECT_EQ(codeOf([&] { ImageReader reader(m_path); }), "CHB_LFD_PARSE");
    const std::string log = readFile(beside("-log"));
    EXPECT_TRUE(ImageWriter::undoInterruptedEdit(m_path));
    EXPECT_EQ(file(), before);
    EXPECT_EQ(leftovers(), QStringList(QStringLiteral("movie.vqf-rescued")));
    MovieBuilder saved;
    saved.frame(std::string(48, 'a')).frame(std::string(16, 'b'));
    saved.frameFormat(4, 2, 5, 16).attribute("comment", "before");
    MovieBuilder withTimes = saved;
    withTimes.chunk(7, timeBytes(13, 0) + timeBytes(14, 0)).chunk(8, "\x40\xFF");
    EXPECT_EQ(readFile(beside("-rescued")), withTimes.movie()) << "the log knew times and laser powers";

    writeFile(m_path, dead);
    writeFile(beside("-journal"), journal);
    writeFile(beside("-log"), log.substr(0, log.size() - 1));
    EXPECT_TRUE(ImageWriter::undoInterruptedEdit(m_path));
    MovieBuilder withSome = saved;
    EXPECT_EQ(readFile(beside("-rescued-2")), withSome.chunk(8, "\x40\xFF").movie()) << "one time is missing";
    EXPECT_EQ(readFile(beside("-rescued")), withTimes.movie());

    writeFile(m_path, dead);
    writeFile(beside("-journal"), journal);
    ASSERT_TRUE(QFile::link(QStringLiteral("elsewhere"), beside("-rescued-3")));
    ImageWriter writer;
    writer.modify(m_path);
    writer.close();
    EXPECT_EQ(file(), before) << "an edit begins with the rescue";
    EXPECT_EQ(readFile(beside("-rescued-4")), saved.movie());
    EXPECT_FALSE(QFile::exists(beside("-rescued-3"))) << "nothing is written through a link";
}

TEST_F(DeadEdit, ARestoreMayDieToo)
{
    for (const Share share : {Share::Nothing, Share::OneByte, Share::Half, Share::AllButOne}) {
        bool died = true;
        for (int n = 1; died; ++n) {
            SCOPED_TRACE(testing::Message() << "call " << n << ", share " << static_cast<int>(share));
            startFromDeath();
            const Calls among = share == Share::Nothing ? call::all : call::writes;
            died = diesOf({.at = n, .share = share, .among = among, .deadly = true},
                          [&] { ImageWriter::undoInterruptedEdit(m_path); });
            ImageWriter::undoInterruptedEdit(m_path);
            ASSERT_EQ(file(), before);
            ASSERT_EQ(leftovers(), QStringList(QStringLiteral("movie.vqf-rescued")));
            ASSERT_EQ(walkMovie(readFile(beside("-rescued"))).size(), 3U);
        }
    }

    std::string torn = dead + '\n'; // all headers are there, but not the text between
    torn.replace(torn.size() - 40, 4, 4, '\0');
    for (const std::string& left : {dead, torn}) {
        startFromDeath();
        writeFile(m_path, left);
        PowerLoss power(QFileInfo(m_path).canonicalPath());
        EXPECT_TRUE(ImageWriter::undoInterruptedEdit(m_path));
        power.stop();
        RebuiltDisks().check(power, [](std::size_t, const std::string& movie) { return movie == before; });
    }
}

// Whatever fails, a movie that is whole is never undone, and of a dead one nothing is lost.
TEST_F(DeadEdit, AFailedRestoreIsRepeated)
{
    const std::string whole = dead + '\n';
    for (const auto& one : {std::pair(dead, before), {whole, whole}}) {
        const std::string& left = one.first;
        const std::string& restored = one.second;
        const auto prepare = [&] {
            startFromDeath();
            writeFile(m_path, left);
        };
        const auto check = [&](const std::string& code) {
            const QStringList known{{},
                                    QStringLiteral("FDCW_AC_WRITE"),
                                    QStringLiteral("CHB_WFD_WRITE"),
                                    QStringLiteral("CHB_LDF_READ"),
                                    QStringLiteral("FW_OF_OPEN")};
            EXPECT_TRUE(known.contains(QString::fromStdString(code))) << code;
            EXPECT_EQ(code.empty(), QFileInfo(beside("-journal")).size() == 0) << "it stays until all is done";
            ImageWriter::undoInterruptedEdit(m_path);
            EXPECT_EQ(file(), restored);
            std::size_t saved = 0;
            for (const QString& name : leftovers().filter(QStringLiteral("rescued")))
                saved = std::max(saved, walkMovie(readFile(QFileInfo(m_path).path() + u'/' + name)).size());
            EXPECT_EQ(saved, left == dead ? 3U : 0U) << "two frames and the header";
        };
        const auto undo = [&] { ImageWriter::undoInterruptedEdit(m_path); };
        const int failures = withEveryFault({.error = EIO, .share = Share::OneByte}, prepare, undo, check);
        EXPECT_GT(failures, left == dead ? 20 : 8);
        const int endings = withEveryFault({.error = 0, .among = call::reads}, prepare, undo, check);
        EXPECT_GT(endings, left == dead ? 20 : 8) << "a file that ends too early";
    }
}

TEST_F(DeadEdit, ADamagedJournalDoesNoHarm)
{
    int restored = 0;
    for (std::size_t length = 0; length < journal.size(); length += length < 64 ? 1 : 13) {
        startFromDeath();
        writeFile(beside("-journal"), journal.substr(0, length));
        const bool undone = ImageWriter::undoInterruptedEdit(m_path);
        ASSERT_TRUE(undone ? file().size() == before.size() : file() == dead) << length;
        ASSERT_EQ(QFile::exists(beside("-journal")), !undone && length != 8)
            << "one that says nothing goes: " << length;
        restored += undone ? 1 : 0;
    }
    EXPECT_GT(restored, 5) << "the tail is enough";
    for (std::size_t at = 0; at < journal.size(); at += at < 64 ? 1 : 7) {
        startFromDeath();
        std::string damaged = journal;
        damaged[at] = static_cast<char>(~damaged[at]);
        writeFile(beside("-journal"), damaged);
        const bool undone = ImageWriter::undoInterruptedEdit(m_path);
        ASSERT_TRUE(undone ? file().size() == before.size() : file() == dead) << at;
        ASSERT_EQ(QFile::exists(beside("-journal")), !undone) << "another's file stays";
    }

    startFromDeath();
    QFile::remove(m_path);
    EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path));
    writeFile(m_path, dead.substr(0, 100));
    EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path)) << "more is missing than the journal holds";
    EXPECT_EQ(file(), dead.substr(0, 100));
    EXPECT_EQ(readFile(beside("-journal")), journal);
}

TEST_F(DeadEdit, RemainsTellWhatTheJournalHolds)
{
    const RecordingRemains remains = RecordingRemains::of(m_path);
    EXPECT_TRUE(remains.hasJournal);
    EXPECT_FALSE(remains.editGoesOn);
    ASSERT_EQ(remains.before.size(), 2U);
    EXPECT_EQ(remains.before[0].offset, 144);
    EXPECT_EQ(remains.before[0].bytes.toStdString(), before.substr(144));
    EXPECT_EQ(remains.before[1].offset, 48);
    EXPECT_EQ(remains.before[1].bytes.toStdString(), before.substr(48, 48));
    EXPECT_EQ(file(), dead) << "nothing is changed";

    ImageWriter writer;
    writer.create(m_path, false);
    writer.addFrame("x", 1, -1.0F);
    writer.close();
    EXPECT_EQ(file(), MovieBuilder().frame("x").chunk(8, "\xFF").attribute("endian", "2").movie());
    EXPECT_EQ(leftovers(), QStringList()) << "nothing of an old movie's edit touches a new one";
}

} // namespace

} // namespace zd
