#include <libdataio/editjournal_p.h>

#include <libdataio/imagereader.h>
#include <libdataio/imagewriter.h>
#include <libdataio/recordingremains.h>
#include <tests/support/descriptor.h>
#include <tests/support/everyfault.h>
#include <tests/support/figure.h>
#include <tests/support/moviebuilder.h>
#include <tests/support/moviebytes.h>
#include <tests/support/moviewalk.h>
#include <tests/support/nosynchronisation.h>
#include <tests/support/powerloss.h>
#include <tests/support/report.h>

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>

#include <sys/stat.h>
#include <unistd.h>

namespace zd {

namespace {

using namespace test;

const std::string frames[] = {countingFrame(16, '\x00'), countingFrame(16, '\x20'), countingFrame(16, '\x40')};
const std::string replacement = countingFrame(16, '\x60');
const std::string appended[] = {std::string(40, 'a'), std::string(16, 'b')};
const std::string appendedBefore(40, 'c');

std::string movieBefore()
{
    MovieBuilder builder;
    for (const std::string& frame : frames)
        builder.frame(frame);
    return builder.chunk(6, words({1073741823, 2147483647}))
        .chunk(7, timeBytes(10, 0) + timeBytes(11, 0) + timeBytes(12, 0))
        .chunk(8, std::string("\x01\x7F\xFF", 3))
        .frameFormat(4, 2, 5, 16)
        .attribute("comment", "before")
        .movie();
}

/// An edit of the movie at a path.
struct Edit {
    const char* name;
    std::function<void(const QString& path)> run;
};

void editAttributes(const QString& path, const QString& comment)
{
    ImageReader reader(path);
    AttributeChunk attributes = reader.attributeChunk();
    reader.close();
    attributes.set(QStringLiteral("comment"), comment);
    ImageWriter().modifyAttribute(path, attributes);
}

std::vector<Edit> allEdits()
{
    return {
        {"nothing",
         [](const QString& path) {
             ImageWriter writer;
             writer.modify(path);
             writer.close();
         }},
        {"everything",
         [](const QString& path) {
             ImageWriter writer;
             writer.setRecordingLog(true);
             writer.modify(path);
             writer.addFrame(appendedBefore.data(), 40, {13, 0}, 0.25F);
             writer.replaceFrame(frames[0].data(), 1, {9, 0}, 1.0F);
             writer.replaceFrame(appended[0].data(), 3, {13, 0}, 0.25F);
             writer.replaceFrame(replacement.data(), 1, {8, 0}, 1.0F);
             writer.addFrame(appended[1].data(), 16, {14, 0}, -1.0F);
             writer.setFirstFrame(1);
             writer.setComment(QStringLiteral("after"));
             writer.close();
         }},
        {"a frame in the place of the tail",
         [](const QString& path) {
             ImageWriter writer;
             writer.modify(path);
             writer.addFrame(appended[1].data(), 16, -1.0F);
             writer.close();
         }},
        {"a replaced frame",
         [](const QString& path) {
             ImageWriter writer;
             writer.modify(path);
             writer.replaceFrame(replacement.data(), 0, 0.0F);
             writer.close();
         }},
        {"a longer header", [](const QString& path) { editAttributes(path, QString(400, u'l')); }},
        {"a header of the same length", [](const QString& path) { editAttributes(path, QStringLiteral("after!")); }},
        {"a shorter header", [](const QString& path) { editAttributes(path, QStringLiteral("a")); }},
    };
}

/// The calls before which a death makes a difference.
constexpr Calls changes =
    call::open | call::writes | call::truncate | call::sync | call::unlink | call::setAttribute | call::removeAttribute;

/// Makes the folder hold these files and no others.
void rebuild(const TemporaryDirectory& folder, const std::map<std::string, std::string>& files)
{
    for (const QString& name : QDir(folder.path("")).entryList(QDir::Files))
        QFile::remove(folder.path(name.toUtf8().constData()));
    for (const auto& [name, bytes] : files)
        writeFile(folder.path(name.c_str()), bytes);
}

class Journal : public testing::Test {
protected:
    Journal() { writeFile(m_path, before); }

    std::string file() const { return readFile(m_path); }
    QString beside(const char* suffix) const { return m_path + QString::fromUtf8(suffix); }

    std::string after(const Edit& edit)
    {
        writeFile(m_path, before);
        edit.run(m_path);
        const std::string bytes = file();
        walkMovie(bytes);
        return bytes;
    }

    /// Everything but the movie.
    QStringList leftovers() const
    {
        QStringList names = QDir(m_directory.path("")).entryList(QDir::Files);
        names.removeAll(QStringLiteral("movie.vqf"));
        return names;
    }

    void startAfresh() { rebuild(m_directory, {{"movie.vqf", before}}); }

    const NoSynchronisation m_noSynchronisation;
    const std::string before = movieBefore();
    TemporaryDirectory m_directory;
    const QString m_path = m_directory.path("movie.vqf");
};

TEST_F(Journal, APowerFailureLeavesTheOldMovieOrTheNew)
{
    int allDisks = 0;
    for (const Edit& edit : allEdits()) {
        const std::string done = after(edit);
        startAfresh();
        const TemporaryDirectory rebuilt;
        PowerLoss power(QFileInfo(m_path).canonicalPath());
        edit.run(m_path);
        power.stop();
        int disks = 0;
        const auto check = [&](std::size_t count, const std::vector<std::size_t>& lost) {
            rebuild(rebuilt, power.disk(count, lost));
            const QString path = rebuilt.path("movie.vqf");
            ImageWriter::undoInterruptedEdit(path);
            const std::string left = readFile(path);
            EXPECT_TRUE(left == done || (count <= power.changes() && left == before))
                << edit.name << " after " << count << " changes, " << lost.size() << " of them lost, the first "
                << (lost.empty() ? 0 : lost[0]);
            EXPECT_FALSE(QFile::exists(path + QStringLiteral("-journal")));
            ++disks;
        };
        for (std::size_t count = 0; count <= power.changes() + 1; ++count) {
            for (const std::vector<std::size_t>& lost : power.losses(count))
                check(count, lost);
            const std::vector<std::size_t> unsettled = power.unsettled(count);
            for (std::size_t i = 0; i < unsettled.size(); ++i) {
                std::vector<std::size_t> others = unsettled;
                others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
                check(count, others);
            }
        }
        EXPECT_GT(disks, 20) << edit.name;
        allDisks += disks;
    }
    figure("disks rebuilt", allDisks);
}

/// The movie after an edit of everything that died just before it was whole: all is written but the last byte.
class DeadEdit : public Journal {
protected:
    DeadEdit()
    {
        const Edit edit = allEdits()[1];
        const std::string done = after(edit);
        for (int n = 1; file().size() + 1 != done.size() || !file().starts_with(done.substr(0, done.size() - 1)); ++n) {
            startAfresh();
            EXPECT_TRUE(diesOf({.at = n, .share = Share::AllButOne, .among = call::writes, .deadly = true},
                               [&] { edit.run(m_path); }));
        }
        dead = file();
        journal = readFile(beside("-journal"));
    }

    void startFromDeath() { rebuild(m_directory, {{"movie.vqf", dead}, {"movie.vqf-journal", journal}}); }

    std::string dead;
    std::string journal;
};

TEST_F(DeadEdit, SavesWhatWasAppended)
{
    EXPECT_EQ(codeOf([&] { ImageReader reader(m_path); }), "CHB_LFD_PARSE");
    const std::string log = readFile(beside("-log"));
    EXPECT_TRUE(ImageWriter::undoInterruptedEdit(m_path));
    EXPECT_EQ(file(), before);
    EXPECT_EQ(leftovers(), QStringList(QStringLiteral("movie.vqf-rescued")));
    MovieBuilder saved;
    saved.frame(appended[0]).frame(appended[1]);
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
    ImageWriter writer;
    writer.modify(m_path);
    writer.close();
    EXPECT_EQ(file(), before) << "an edit begins with the rescue";
    EXPECT_EQ(readFile(beside("-rescued-3")), saved.movie());
}

TEST_F(DeadEdit, ARestoreMayDieToo)
{
    for (const Share share : {Share::Nothing, Share::OneByte, Share::Half, Share::AllButOne}) {
        bool died = true;
        for (int n = 1; died; ++n) {
            SCOPED_TRACE(testing::Message() << "call " << n << ", share " << static_cast<int>(share));
            startFromDeath();
            const Calls among = share == Share::Nothing ? changes : call::writes;
            died = diesOf({.at = n, .share = share, .among = among, .deadly = true},
                          [&] { ImageWriter::undoInterruptedEdit(m_path); });
            ImageWriter::undoInterruptedEdit(m_path);
            ASSERT_EQ(file(), before);
            ASSERT_FALSE(QFile::exists(beside("-journal")));
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
        const TemporaryDirectory rebuilt;
        const QString path = rebuilt.path("movie.vqf");
        for (std::size_t count = 0; count <= power.changes() + 1; ++count) {
            for (const std::vector<std::size_t>& lost : power.losses(count)) {
                rebuild(rebuilt, power.disk(count, lost));
                ImageWriter::undoInterruptedEdit(path);
                EXPECT_EQ(readFile(path), before) << count << " changes, " << lost.size() << " lost";
            }
        }
    }
}

// Whatever fails, a movie that is whole is never undone, and of a dead one nothing is lost.
TEST_F(DeadEdit, AFailedRestoreIsRepeated)
{
    const std::string whole = MovieBuilder().frame(frames[0]).frameFormat(4, 2, 5, 16).movie();
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
                saved = std::max(saved, walkMovie(readFile(m_directory.path(name.toUtf8().constData()))).size());
            EXPECT_EQ(saved, left == dead ? 3U : 0U) << "two frames and the header";
        };
        const int failures = withEveryFault(
            {.error = EIO, .share = Share::OneByte}, prepare, [&] { ImageWriter::undoInterruptedEdit(m_path); }, check);
        EXPECT_GT(failures, left == dead ? 20 : 8);
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
        ASSERT_FALSE(QFile::exists(beside("-journal")));
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
        ASSERT_EQ(QFile::exists(beside("-journal")), at < 8) << "another's file stays";
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
    writer.addFrame(frames[0].data(), 16, -1.0F);
    writer.close();
    EXPECT_EQ(file(), MovieBuilder().frame(frames[0]).chunk(8, "\xFF").attribute("endian", "2").movie());
    EXPECT_EQ(leftovers(), QStringList()) << "nothing of an old movie's edit touches a new one";
}

TEST_F(Journal, TellsTornFromWholeHeaders)
{
    const auto leaveJournal = [this](const std::string& newInfo) {
        const Descriptor movie(m_path, O_RDWR);
        const auto infoStart = static_cast<std::int64_t>(walkMovie(before).back().offset);
        const auto journal = EditJournal::begin(m_path, movie.get(), infoStart);
        const auto length = infoStart + 32 + static_cast<std::int64_t>(newInfo.size());
        journal->announceEnd(length, QByteArray::fromStdString(newInfo));
    };
    const std::string oldInfo = walkMovie(before).back().payload;
    const std::string start = before.substr(0, walkMovie(before).back().offset);
    std::string newInfo = oldInfo;
    newInfo.replace(newInfo.find("before"), 6, "after!");
    std::string tornInfo = oldInfo;
    tornInfo.replace(newInfo.find("after!"), 3, "aft");

    leaveJournal(newInfo);
    writeFile(m_path, start + chunk(5, tornInfo));
    EXPECT_EQ(walkMovie(file()).size(), 7U) << "it looks sound";
    EXPECT_TRUE(ImageWriter::undoInterruptedEdit(m_path));
    EXPECT_EQ(file(), before);

    const std::string longer = start + chunk(5, newInfo + "x=1\n");
    const std::string wholes[] = {before, start + chunk(5, newInfo), longer};
    for (const std::string& whole : wholes) {
        writeFile(m_path, before);
        leaveJournal(newInfo);
        writeFile(m_path, whole);
        EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path));
        EXPECT_EQ(file(), whole) << "old, new, or another movie put here since";
        EXPECT_EQ(leftovers(), QStringList());
    }
}

TEST_F(Journal, LeavesOthersFilesAlone)
{
    const auto editAll = [this] {
        EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path));
        for (const Edit& edit : allEdits())
            edit.run(m_path);
        walkMovie(file());
        ImageWriter writer;
        writer.create(m_path, false);
        writer.close();
        writeFile(m_path, before);
    };
    const QByteArray path = beside("-journal").toUtf8();
    const std::string texts[] = {"notes about the movie", "VQFJRNL2 of another version", "VQF"};
    for (const std::string& text : texts) {
        writeFile(beside("-journal"), text);
        writeFile(beside("-log"), text);
        editAll();
        if (text.size() > 8) {
            EXPECT_EQ(readFile(beside("-journal")), text);
            EXPECT_EQ(readFile(beside("-log")), text);
        }
    }
    EXPECT_EQ(leftovers(), QStringList()) << "the beginning of a mark is a journal that never got further";

    ASSERT_EQ(mkfifo(path.constData(), 0600), 0);
    editAll();
    struct stat status {};
    EXPECT_EQ(lstat(path.constData(), &status), 0);
    unlink(path.constData());

    writeFile(m_directory.path("target"), "VQFJRNL1");
    ASSERT_EQ(symlink("target", path.constData()), 0);
    editAll();
    EXPECT_EQ(readFile(m_directory.path("target")), "VQFJRNL1");
    unlink(path.constData());

    ASSERT_EQ(mkdir(path.constData(), 0700), 0);
    editAll();
    EXPECT_EQ(rmdir(path.constData()), 0);
}

TEST_F(Journal, LivesAsLongAsItsEdit)
{
    ImageWriter writer;
    writer.modify(m_path);
    EXPECT_EQ(leftovers(), QStringList(QStringLiteral("movie.vqf-journal")));
    struct stat status {};
    stat(beside("-journal").toUtf8().constData(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_FALSE(ImageWriter::undoInterruptedEdit(m_path)) << "the edit goes on";
    EXPECT_TRUE(RecordingRemains::of(m_path).editGoesOn);
    EXPECT_EQ(file(), before.substr(0, 144));
    writer.close();
    EXPECT_EQ(leftovers(), QStringList());
    EXPECT_EQ(file(), before);

    EXPECT_TRUE(writer.journaled());
    writer.setJournaled(false);
    writer.modify(m_path);
    EXPECT_EQ(leftovers(), QStringList());
    writer.close();

    const QString link = m_directory.path("link");
    ASSERT_TRUE(QFile::link(m_path, link));
    writer.setJournaled(true);
    writer.modify(link);
    EXPECT_TRUE(QFile::exists(beside("-journal"))) << "beside the movie itself";
    writer.close();
    EXPECT_EQ(file(), before);
}

TEST_F(Journal, APathEndsAtItsEnd)
{
    const QString empty = m_directory.path("empty");
    writeFile(empty, "");
    const QString path = empty + QChar::Null + QStringLiteral("x");
    EXPECT_FALSE(ImageWriter::undoInterruptedEdit(path));
    EXPECT_EQ(codeOf([&] { ImageWriter().modifyAttribute(path, AttributeChunk()); }), "FW_OF_OPEN2");
    RecordingRemains::remove(path);
    EXPECT_TRUE(QFile::exists(empty));
}

} // namespace

} // namespace zd
